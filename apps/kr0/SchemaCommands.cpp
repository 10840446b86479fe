// The verbs for meta models: schema and what is below it, generate.

#include <CLI/CLI.hpp>
#include <memory>

#include "CommandOptions.h"
#include "Commands.h"
#include "Draw.h"

namespace kr::zero::tool {

namespace {

CLI::Option* addSchemas(CLI::App& verb, std::vector<std::string>& paths) {
  return verb.add_option("META", paths, "The .ecore files")->required()->type_name("META.ecore");
}

void addSchemaDiff(CLI::App& schema) {
  const auto kept = std::make_shared<SchemaDiffOptions>();
  SchemaDiffOptions& options = *kept;
  CLI::App* verb =
      addVerb(schema, "diff", "Tell every change between two versions, and what it does to old documents",
              "kr0 schema diff 2025/library.ecore -- library.ecore\n"
              "  kr0 schema diff old.ecore -- new.ecore --format krb --rename library.Book.name=title\n"
              "Exit code: 0 nothing breaks, 1 old documents are refused or show something wrong.");
  verb->add_option("OLD", options.before, "The .ecore files as they were")
      ->required()
      ->type_name("OLD.ecore");
  verb->add_option(kNewSchemas, options.after, "The .ecore files as they are; behind OLD a -- says the same")
      ->type_name("NEW.ecore");
  verb->add_option("--format", options.formats,
                   "A format whose documents matter (all); more than once for more")
      ->check(CLI::IsMember({"krb", "krt", "xmi", "krz"}))
      ->allow_extra_args(false);
  verb->add_option("--rename", options.renames,
                   "A type, property or literal that only has another name now; more than once for more")
      ->type_name("OLD=NEW")
      ->allow_extra_args(false);
  addFinding(*verb, options.reading, "OLD and NEW");
  verb->add_flag("--json", options.json, "Print JSON");
  verb->callback([kept] { diffSchemas(*kept); });
}

void addSchemaLock(CLI::App& schema) {
  const auto kept = std::make_shared<SchemaLockOptions>();
  SchemaLockOptions& options = *kept;
  CLI::App* verb = addVerb(schema, "lock", "Write down what the numbers of properties and literals mean",
                           "kr0 schema lock library.ecore -o library.lock\n"
                           "A lock file that is there keeps what is gone, so that no number is used again.");
  addSchemas(*verb, options.metaModels);
  addFinding(*verb, options, "META");
  verb->add_option("-o,--output", options.lock, "The lock file")->required()->type_name("LOCK");
  verb->add_flag("--accept", options.accept, "Write numbers that changed their meaning, too");
  verb->callback([kept] { lockSchema(*kept); });
}

void addSchemaCheck(CLI::App& schema) {
  const auto kept = std::make_shared<SchemaLockOptions>();
  SchemaLockOptions& options = *kept;
  CLI::App* verb =
      addVerb(schema, "check", "Compare meta models with a lock file, in a build for one",
              "kr0 schema check library.ecore --lock library.lock\n"
              "Exit code: 0 all is as locked but for what is new or gone, 1 a number changed its meaning.");
  addSchemas(*verb, options.metaModels);
  addFinding(*verb, options, "META");
  verb->add_option("--lock", options.lock, "The lock file")->required()->type_name("LOCK");
  verb->callback([kept] { checkSchema(*kept); });
}

void addSchemaPin(CLI::App& schema) {
  const auto kept = std::make_shared<SchemaPinOptions>();
  SchemaPinOptions& options = *kept;
  CLI::App* verb = addVerb(schema, "pin", "Write numbers into meta models, so that they stay",
                           "kr0 schema pin library.ecore\n  kr0 schema pin shop.ecore base.ecore -o pinned");
  addSchemas(*verb, options.metaModels);
  verb->add_option("-o,--output", options.folder,
                   "The folder for the files, where they shall not be replaced")
      ->type_name("DIR");
  verb->callback([kept] { pinSchema(*kept); });
}

void addSchemaDraw(CLI::App& schema) {
  const auto kept = std::make_shared<DrawOptions>();
  DrawOptions& options = *kept;
  CLI::App* verb = addVerb(schema, "draw", "Draw a class diagram",
                           "kr0 schema draw library.ecore -o library.svg\n"
                           "Pictures are drawn by dot, a program of Graphviz, which must be installed.");
  addSchemas(*verb, options.metaModels);
  addFinding(*verb, options, "META");
  verb->add_option("-o,--output", options.output,
                   "The picture to write: .svg, .pdf, .png, or .dot for Graphviz")
      ->required()
      ->type_name("FILE");
  verb->add_option("--package", options.packages,
                   "A package to draw, by name or URI (all); more than once for more")
      ->type_name("NAME")
      ->allow_extra_args(false);
  verb->callback([kept] { drawSchema(*kept); });
}

void addSchema(CLI::App& app) {
  const auto kept = std::make_shared<SchemaOptions>();
  SchemaOptions& options = *kept;
  CLI::App* verb = addVerb(app, "schema", "Look at meta models", "kr0 schema show library.ecore");
  needVerb(*verb);
  addSchemaDiff(*verb);
  addSchemaLock(*verb);
  addSchemaCheck(*verb);
  addSchemaPin(*verb);
  addSchemaDraw(*verb);
  CLI::App* show = addVerb(*verb, "show", "Print types and properties with their numbers",
                           "kr0 schema show library.ecore --json");
  show->add_option("META", options.metaModels, "The .ecore files")->required()->type_name("META.ecore");
  addFinding(*show, options, "META");
  show->add_flag("--json", options.json, "Print JSON");
  show->callback([kept] { showSchema(*kept); });
}

void addGenerate(CLI::App& app) {
  const auto kept = std::make_shared<GenerateOptions>();
  GenerateOptions& options = *kept;
  CLI::App* verb =
      addVerb(app, "generate", "Write code for meta models", "kr0 generate cpp library.ecore -o generated");
  needVerb(*verb);
  CLI::App* cpp = addVerb(*verb, "cpp", "Write C++ classes that give typed access to the elements of models",
                          "kr0 generate cpp library.ecore -o generated --namespace acme::models");
  cpp->add_option("META", options.metaModels, "The .ecore files")->required()->type_name("META.ecore");
  addFinding(*cpp, options, "META");
  cpp->add_option("-o,--output", options.folder, "The folder for the files")->required()->type_name("DIR");
  cpp->add_option("--namespace", options.space, "The namespace around those of the packages")
      ->capture_default_str();
  cpp->callback([kept] { generateCpp(*kept); });
}

}  // namespace

void addSchemaCommands(CLI::App& app) {
  addSchema(app);
  addGenerate(app);
}

}  // namespace kr::zero::tool
