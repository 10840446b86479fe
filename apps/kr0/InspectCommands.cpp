// The verbs for bytes: inspect, salvage.

#include <CLI/CLI.hpp>
#include <memory>

#include "CommandOptions.h"
#include "Inspect.h"

namespace kr::zero::tool {

namespace {

void addInspect(CLI::App& app) {
  const auto kept = std::make_shared<InspectOptions>();
  InspectOptions& options = *kept;
  CLI::App* verb = addVerb(app, "inspect", "Show the bytes of documents with what they mean",
                           "kr0 inspect books.krb -m library.ecore --at \"/library/books[3]\"\n"
                           "  kr0 inspect books.krt --offset 0x1a4");
  addInputs(*verb, options.inputs, "The documents");
  verb->get_option("--meta")->description(
      "The .ecore files that say what the elements are; .krz and .krt can do without");
  verb->add_option("--at", options.at,
                   "Only the element of that path and what is in it, or one of its properties")
      ->type_name("PATH");
  verb->add_option("--offset", options.offset, "Only what that byte belongs to")->type_name("N");
  verb->add_flag("--json", options.json, "Print JSON");
  verb->callback([kept] { inspect(*kept); });
}

void addSalvage(CLI::App& app) {
  const auto kept = std::make_shared<SalvageOptions>();
  SalvageOptions& options = *kept;
  CLI::App* verb = addVerb(app, "salvage", "Save what can be read of a damaged document",
                           "kr0 salvage damaged.krb saved.krb -m library.ecore\n"
                           "  kr0 salvage damaged.krz saved.xmi --report losses.txt");
  addInput(*verb, options.input, "FILE", "The damaged document");
  verb->add_option("OUT", options.output, "The document to write: .krb, .krt, .krz or .xmi")->required();
  verb->add_option("--to", options.to, "Format of OUT, where its name does not tell")->check(isFormat());
  verb->add_option("--report", options.report,
                   "The file for the list of losses; standard error unless given");
  verb->callback([kept] { salvage(*kept); });
}

}  // namespace

void addInspectCommands(CLI::App& app) {
  addInspect(app);
  addSalvage(app);
}

}  // namespace kr::zero::tool
