#include "CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "Commands.h"
#include "Errors.h"
#include "kr/zero/log/Span.h"

namespace kr::zero::tool {

namespace {

// What the command line asks for.
struct Call {
  ConvertOptions convert;
  ShowOptions info;
  ShowOptions cat;
  UnpackOptions unpack;
  SchemaOptions schema;
  SchemaDiffOptions schemaDiff;
  SchemaLockOptions schemaLock;
  SchemaLockOptions schemaCheck;
  SchemaPinOptions schemaPin;
  GenerateOptions generate;
  MigrateOptions migrate;
};

// What "--" means between the files of `schema diff`: the option parser would only take it for the end of
// options.
constexpr const char* kNewSchemas = "--new";

CLI::IsMember formats() { return CLI::IsMember({"krb", "krt", "xmi", "krz"}); }

CLI::Option* addMetaModels(CLI::App& verb, std::vector<std::string>& paths) {
  return verb.add_option("-m,--meta", paths, "The .ecore files that say what the elements are")
      ->type_name("META.ecore");
}

std::string refuseNegative(std::string number) {
  if (number.starts_with('-')) throw CLI::ValidationError("it cannot be negative");
  return number;
}

void addLimit(CLI::App& verb, std::uint64_t& limit) {
  verb.add_option("--limit", limit, "How much what is compressed may unpack to; 4G unless given")
      ->type_name("BYTES")
      ->transform(CLI::AsSizeValue(false))
      ->transform(refuseNegative, "");  // runs before the one above, which would take it for a large number
}

void addInput(CLI::App& verb, InputOptions& input, const std::string& name, const std::string& what) {
  verb.add_option(name, input.path, what + ", - for standard input")->required();
  verb.add_option("--from", input.from, "Format of " + name + ", where its name and content do not tell")
      ->check(formats());
  addMetaModels(verb, input.metaModels)
      ->description("The .ecore files that say what the elements are; a .krz brings them along");
  addLimit(verb, input.limit);
}

CLI::App* addVerb(CLI::App& app, const std::string& name, const std::string& deed,
                  const std::string& example) {
  CLI::App* verb = app.add_subcommand(name, deed)->fallthrough();
  return verb->footer("Example:\n  " + example);
}

// The parser's own check would hide an unknown verb behind the complaint that there is none.
void needVerb(CLI::App& app, const std::string& verbs) {
  app.callback([&app, verbs] {
    if (app.get_subcommands().empty()) throw WrongCall("say what to do: " + verbs + " (see kr0 --help)");
  });
}

void addConvert(CLI::App& app, ConvertOptions& options) {
  CLI::App* verb = addVerb(app, "convert", "Write a document in another format",
                           "kr0 convert books.xmi books.krz -m library.ecore\n"
                           "  kr0 convert books.krz books.xmi.gz");
  addInput(*verb, options.input, "IN", "The document to read");
  verb->add_option("OUT", options.output, "The document to write, - for standard output")->required();
  verb->add_option(
          "--to", options.to,
          "Format of OUT, where it is not krb, krt or krz for a name that ends so and xmi for all else")
      ->check(formats());
  verb->add_option("--level", options.writing.level,
                   "How much to compress .krz, .gz and .zst: 1 fast, 19 small")
      ->check(CLI::Range(1, 19));
  verb->add_flag("--tagged", options.writing.tagged, "Have the .krz hold a .krt and not a .krb");
  verb->callback([&options] { convert(options); });
}

void addInfo(CLI::App& app, ShowOptions& options) {
  CLI::App* verb = addVerb(app, "info", "Tell format, version, packages, size and elements of a document",
                           "kr0 info books.krz\n  kr0 info books.krb -m library.ecore --json");
  addInput(*verb, options.input, "FILE", "The document");
  verb->add_flag("--json", options.json, "Print JSON");
  verb->callback([&options] { info(options); });
}

void addCat(CLI::App& app, ShowOptions& options) {
  CLI::App* verb = addVerb(app, "cat", "Print all that a document holds as a tree",
                           "kr0 cat books.krb -m library.ecore --json\n  kr0 cat books.krz");
  addInput(*verb, options.input, "FILE", "The document");
  verb->get_option("--meta")->description(
      "The .ecore files that say what the elements are; .krz and .krt can do without");
  verb->add_flag("--json", options.json, "Print JSON");
  verb->add_flag("--events", options.events, "Print the tree events of the document, one a line");
  verb->callback([&options] { cat(options); });
}

void addUnpack(CLI::App& app, UnpackOptions& options) {
  CLI::App* verb =
      addVerb(app, "unpack", "Write the parts of an archive as files: document, meta model, manifest",
              "kr0 unpack books.krz -d books");
  verb->add_option("FILE", options.input.path, "The archive, - for standard input")->required();
  verb->add_option("-d,--directory", options.folder, "The folder for the files")
      ->required()
      ->type_name("DIR");
  addLimit(*verb, options.input.limit);
  verb->callback([&options] { unpack(options); });
}

CLI::Option* addSchemas(CLI::App& verb, std::vector<std::string>& paths) {
  return verb.add_option("META", paths, "The .ecore files")->required()->type_name("META.ecore");
}

void addSchemaDiff(CLI::App& schema, SchemaDiffOptions& options) {
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
  verb->add_flag("--json", options.json, "Print JSON");
  verb->callback([&options] { diffSchemas(options); });
}

void addSchemaLock(CLI::App& schema, SchemaLockOptions& options) {
  CLI::App* verb = addVerb(schema, "lock", "Write down what the numbers of properties and literals mean",
                           "kr0 schema lock library.ecore -o library.lock\n"
                           "A lock file that is there keeps what is gone, so that no number is used again.");
  addSchemas(*verb, options.metaModels);
  verb->add_option("-o,--output", options.lock, "The lock file")->required()->type_name("LOCK");
  verb->add_flag("--accept", options.accept, "Write numbers that changed their meaning, too");
  verb->callback([&options] { lockSchema(options); });
}

void addSchemaCheck(CLI::App& schema, SchemaLockOptions& options) {
  CLI::App* verb =
      addVerb(schema, "check", "Compare meta models with a lock file, in a build for one",
              "kr0 schema check library.ecore --lock library.lock\n"
              "Exit code: 0 all is as locked but for what is new or gone, 1 a number changed its meaning.");
  addSchemas(*verb, options.metaModels);
  verb->add_option("--lock", options.lock, "The lock file")->required()->type_name("LOCK");
  verb->callback([&options] { checkSchema(options); });
}

void addSchemaPin(CLI::App& schema, SchemaPinOptions& options) {
  CLI::App* verb = addVerb(schema, "pin", "Write numbers into meta models, so that they stay",
                           "kr0 schema pin library.ecore\n  kr0 schema pin shop.ecore base.ecore -o pinned");
  addSchemas(*verb, options.metaModels);
  verb->add_option("-o,--output", options.folder,
                   "The folder for the files, where they shall not be replaced")
      ->type_name("DIR");
  verb->callback([&options] { pinSchema(options); });
}

void addSchema(CLI::App& app, Call& call) {
  SchemaOptions& options = call.schema;
  CLI::App* verb = addVerb(app, "schema", "Look at meta models", "kr0 schema show library.ecore");
  needVerb(*verb, "schema show, diff, lock, check or pin");
  addSchemaDiff(*verb, call.schemaDiff);
  addSchemaLock(*verb, call.schemaLock);
  addSchemaCheck(*verb, call.schemaCheck);
  addSchemaPin(*verb, call.schemaPin);
  CLI::App* show = addVerb(*verb, "show", "Print types and properties with their numbers",
                           "kr0 schema show library.ecore --json");
  show->add_option("META", options.metaModels, "The .ecore files")->required()->type_name("META.ecore");
  show->add_flag("--json", options.json, "Print JSON");
  show->callback([&options] { showSchema(options); });
}

void addGenerate(CLI::App& app, GenerateOptions& options) {
  CLI::App* verb =
      addVerb(app, "generate", "Write code for meta models", "kr0 generate cpp library.ecore -o generated");
  needVerb(*verb, "generate cpp");
  CLI::App* cpp = addVerb(*verb, "cpp", "Write C++ classes that give typed access to the elements of models",
                          "kr0 generate cpp library.ecore -o generated --namespace acme::models");
  cpp->add_option("META", options.metaModels, "The .ecore files")->required()->type_name("META.ecore");
  cpp->add_option("-o,--output", options.folder, "The folder for the files")->required()->type_name("DIR");
  cpp->add_option("--namespace", options.space, "The namespace around those of the packages")
      ->capture_default_str();
  cpp->callback([&options] { generateCpp(options); });
}

void addMigrate(CLI::App& app, MigrateOptions& options) {
  CLI::App* verb =
      addVerb(app, "migrate", "Carry a document over to a changed meta model",
              "kr0 migrate old.krb new.krb --from old.ecore --to new.ecore\n"
              "  kr0 migrate old.krz new.krz --to new.ecore --map changes.json --report report.txt\n"
              "  kr0 migrate --draft-map --from old.ecore --to new.ecore -o changes.json");
  verb->add_option("IN", options.input.path, "The document to read, - for standard input");
  verb->add_option("OUT", options.output,
                   "The document to write: krb for .krb, krt for .krt, krz for .krz and xmi for all else");
  verb->add_option("--from", options.input.metaModels,
                   "The .ecore files that IN was written with; a .krz brings its own")
      ->type_name("OLD.ecore");
  verb->add_option("--to", options.to, "The .ecore files of the new meta model")
      ->required()
      ->type_name("NEW.ecore");
  verb->add_option("--map", options.map,
                   "Rules: what has another name, what may go, what fills new properties")
      ->type_name("MAP.json");
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
  verb->callback([&options] { migrate(options); });
}

void describe(CLI::App& app, Call& call) {
  app.require_subcommand(0, 1);
  needVerb(app, "convert, info, cat, unpack, migrate, schema or generate cpp");
  app.set_version_flag("--version", "kr0 " KR0_VERSION, "Print the version and end");
  app.add_flag_callback(
      "--verbose", [] { log::setSpanListener(log::makeStderrSpanListener()); },
      "Tell every step on standard error");
  app.footer("Exit code: 0 done, 1 the input is bad, 2 the call is wrong.");
  addConvert(app, call.convert);
  addInfo(app, call.info);
  addCat(app, call.cat);
  addUnpack(app, call.unpack);
  addSchema(app, call);
  addGenerate(app, call.generate);
  addMigrate(app, call.migrate);
}

// Of `schema diff OLD... -- NEW...`.
void nameSeparator(std::vector<std::string>& words) {
  const auto schema = std::find(words.begin(), words.end(), "schema");
  const auto diff = std::find(schema, words.end(), "diff");
  const auto separator = std::find(diff, words.end(), "--");
  if (separator != words.end()) *separator = kNewSchemas;
}

}  // namespace

int performCall(int count, char** arguments) {
  Call call;
  CLI::App app("Stores models compactly: converts them, and tells what is in them.", "kr0");
  describe(app, call);
  try {
    std::vector<std::string> words(arguments + std::min(count, 1), arguments + count);
    nameSeparator(words);
    std::reverse(words.begin(), words.end());  // as the parser wants them
    app.parse(std::move(words));
    return exitDone;
  } catch (const CLI::ParseError& error) {
    // Help and version are results.
    if (error.get_exit_code() == 0) return app.exit(error);
    throw WrongCall(std::string(error.what()) + " (see kr0 --help)");
  }
}

}  // namespace kr::zero::tool
