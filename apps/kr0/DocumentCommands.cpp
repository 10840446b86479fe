// The verbs for documents: convert, info, cat, unpack, migrate.

#include <CLI/CLI.hpp>
#include <memory>

#include "CommandOptions.h"
#include "Commands.h"

namespace kr::zero::tool {

namespace {

void addConvert(CLI::App& app) {
  const auto kept = std::make_shared<ConvertOptions>();
  ConvertOptions& options = *kept;
  CLI::App* verb = addVerb(app, "convert", "Write documents in another format",
                           "kr0 convert books.xmi books.krz -m library.ecore\n"
                           "  kr0 convert books.krz books.xmi.gz\n"
                           "  kr0 convert books.krz books.sqlite\n"
                           "  kr0 convert *.xmi -o stored --to krz -m library.ecore -j 4");
  addInputs(*verb, options.inputs, "The document to read and the one to write; with -o, those to read");
  verb->add_option("-o,--output", options.output, "The document to write, or the folder for several")
      ->type_name("FILE|DIR");
  addWriting(*verb, options.to, options.writing);
  verb->callback([kept] { convert(*kept); });
}

void addInfo(CLI::App& app) {
  const auto kept = std::make_shared<ShowOptions>();
  ShowOptions& options = *kept;
  CLI::App* verb = addVerb(app, "info", "Tell format, version, packages, size and elements of a document",
                           "kr0 info books.krz\n  kr0 info books.krb -m library.ecore --json");
  addInputs(*verb, options.inputs, "The documents");
  verb->add_flag("--json", options.json, "Print JSON");
  verb->callback([kept] { info(*kept); });
}

void addCat(CLI::App& app) {
  const auto kept = std::make_shared<ShowOptions>();
  ShowOptions& options = *kept;
  CLI::App* verb = addVerb(app, "cat", "Print all that a document holds as a tree",
                           "kr0 cat books.krb -m library.ecore --json\n  kr0 cat books.krz");
  addInputs(*verb, options.inputs, "The documents");
  verb->get_option("--meta")->description(
      "The .ecore files that say what the elements are; .krz and .krt can do without");
  verb->add_flag("--json", options.json, "Print JSON");
  verb->add_flag("--events", options.events, "Print the tree events of the document, one a line");
  verb->add_flag("--stable", options.stable,
                 "Call elements by names and not by numbers, so that a change changes few lines");
  verb->callback([kept] { cat(*kept); });
}

void addUnpack(CLI::App& app) {
  const auto kept = std::make_shared<UnpackOptions>();
  UnpackOptions& options = *kept;
  CLI::App* verb =
      addVerb(app, "unpack", "Write the parts of an archive as files: document, meta model, manifest",
              "kr0 unpack books.krz -d books");
  verb->add_option("FILE", options.input.path, "The archive, - for standard input")->required();
  verb->add_option("-d,--directory", options.folder, "The folder for the files")
      ->required()
      ->type_name("DIR");
  addLimit(*verb, options.input.limit);
  verb->callback([kept] { unpack(*kept); });
}

void addMigrate(CLI::App& app) {
  const auto kept = std::make_shared<MigrateOptions>();
  MigrateOptions& options = *kept;
  CLI::App* verb =
      addVerb(app, "migrate", "Carry a document over to a changed meta model",
              "kr0 migrate old.krb new.krb --from old.ecore --to new.ecore\n"
              "  kr0 migrate old.krz new.krz --to new.ecore --map changes.json --report report.txt\n"
              "  kr0 migrate --draft-map --from old.ecore --to new.ecore -o changes.json");
  verb->add_option("IN", options.input.path, "The document to read, - for standard input");
  verb->add_option("OUT", options.output, "The document to write: .krb, .krt, .krz or .xmi");
  verb->add_option("--from", options.input.metaModels,
                   "The .ecore files that IN was written with; a .krz brings its own")
      ->type_name("OLD.ecore");
  verb->add_option("--to", options.to, "The .ecore files of the new meta model")
      ->required()
      ->type_name("NEW.ecore");
  verb->add_option("--map", options.map,
                   "Rules: what has another name, what may go, what fills new properties")
      ->type_name("MAP.json");
  addFinding(*verb, options.input, "IN and meta models");
  verb->add_flag("--allow-loss", options.allowLoss, "Leave out what has no place in the new meta model");
  verb->add_option("--report", options.report,
                   "Write what became of every class, property and value: JSON for .json, else text");
  addLimit(*verb, options.input.limit);
  CLI::Option* draft = verb->add_flag("--draft-map", options.isDraft,
                                      "Propose a map of renames, with reasons, for a person to check");
  verb->add_option("-o,--output", options.draft,
                   "The file for the proposed map; standard output unless given")
      ->needs(draft)
      ->type_name("MAP.json");
  verb->callback([kept] { migrate(*kept); });
}

}  // namespace

void addDocumentCommands(CLI::App& app) {
  addConvert(app);
  addInfo(app);
  addCat(app);
  addUnpack(app);
  addMigrate(app);
}

}  // namespace kr::zero::tool
