// The verb for tables: query.

#include <CLI/CLI.hpp>
#include <memory>

#include "CommandOptions.h"
#include "Tables.h"

namespace kr::zero::tool {

namespace {

void addQuery(CLI::App& app) {
  const auto kept = std::make_shared<QueryOptions>();
  QueryOptions& options = *kept;
  CLI::App* verb = addVerb(app, "query", "Answer a question in SQL about what is in documents",
                           "kr0 query books.krz \"SELECT title FROM Book WHERE pages > 500\"\n"
                           "  kr0 query books.krz --schema\n"
                           "  kr0 query *.krz \"SELECT _document, count(*) FROM Book GROUP BY 1\" --csv");
  addInputs(*verb, options.inputs, "The documents, and behind them the query: a SELECT of SQLite");
  verb->remove_option(verb->get_option("--jobs"));  // one database takes one document after the other
  verb->add_flag("--csv", options.csv, "Print CSV");
  verb->add_flag("--json", options.json, "Print JSON: an object for each row");
  verb->add_flag("--schema", options.schema, "Print the tables that there are; takes no query");
  verb->callback([kept] { query(*kept); });
}

}  // namespace

void addTableCommands(CLI::App& app) { addQuery(app); }

}  // namespace kr::zero::tool
