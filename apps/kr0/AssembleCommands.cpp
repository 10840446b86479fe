// The verbs that put documents together and take them apart: join, extract.

#include <CLI/CLI.hpp>
#include <memory>

#include "Assemble.h"
#include "CommandOptions.h"

namespace kr::zero::tool {

namespace {

void addOutput(CLI::App& verb, OutputOptions& output) {
  verb.add_option("-o,--output", output.path, "The document to write: .krb, .krt, .krz or .xmi")
      ->required()
      ->type_name("FILE");
  addWriting(verb, output.to, output.writing);
}

void addJoin(CLI::App& app) {
  const auto kept = std::make_shared<JoinOptions>();
  JoinOptions& options = *kept;
  CLI::App* verb = addVerb(app, "join", "Put the elements of several documents into one",
                           "kr0 join books.krb loans.xmi -o library.krz -m library.ecore");
  addInputs(*verb, options.inputs, "The documents");
  addOutput(*verb, options.output);
  verb->add_flag("--drop-clashes", options.dropClashes,
                 "Where two elements have one identity, have the later one lose it");
  verb->callback([kept] { join(*kept); });
}

void addExtract(CLI::App& app) {
  const auto kept = std::make_shared<ExtractOptions>();
  ExtractOptions& options = *kept;
  CLI::App* verb = addVerb(app, "extract", "Take elements out into a document of their own",
                           "kr0 extract books.krz '/library/books[3]' -o moby.krz\n"
                           "  kr0 extract books.krb '/library/books[title=\"Moby Dick\"]' -o moby.xmi "
                           "--with-references -m library.ecore");
  addInput(*verb, options.input, "FILE", "The document to read");
  verb->add_option("PATH", options.paths, "Paths of the elements, as other verbs show them")->required();
  addOutput(*verb, options.output);
  verb->add_flag("--with-references", options.withReferences,
                 "Take along what they refer to, and what that refers to");
  verb->callback([kept] { extract(*kept); });
}

}  // namespace

void addAssembleCommands(CLI::App& app) {
  addJoin(app);
  addExtract(app);
}

}  // namespace kr::zero::tool
