// The verb for pages: report.

#include <CLI/CLI.hpp>
#include <memory>

#include "CommandOptions.h"
#include "Report.h"

namespace kr::zero::tool {

void addReportCommands(CLI::App& app) {
  const auto kept = std::make_shared<ReportOptions>();
  ReportOptions& options = *kept;
  CLI::App* verb = addVerb(app, "report", "Make one page that shows documents in a browser",
                           "kr0 report books.krz -o books.html\n"
                           "  kr0 report old.xmi new.krb -m library.ecore -o changes.html\n"
                           "All that the documents hold is in the page, and it needs nothing else.");
  verb->add_option("FILE", options.paths, "The document, or two to tell what differs; - for standard input")
      ->required();
  verb->add_option("-o,--output", options.output, "The page to write; standard output unless given")
      ->type_name("FILE");
  verb->add_flag("--no-bytes", options.withoutBytes, "Leave out the bytes of the documents");
  verb->add_flag("--json", options.json, "Write the data of the page alone, as JSON");
  addReading(*verb, options, "FILE");
  verb->callback([kept] { report(*kept); });
}

}  // namespace kr::zero::tool
