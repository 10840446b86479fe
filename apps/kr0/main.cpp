// The command line of kr0.

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <new>
#include <string>
#include <string_view>

#include "Commands.h"
#include "Errors.h"
#include "Files.h"
#include "Visible.h"
#include "kr/zero/io/BinaryFormats.h"
#include "kr/zero/log/Span.h"

namespace kr::zero::tool {

namespace {

// What the command line asks for.
struct Call {
  ConvertOptions convert;
  ShowOptions info;
  ShowOptions cat;
  SchemaOptions schema;
  GenerateOptions generate;
  MigrateOptions migrate;
};

CLI::IsMember formats() { return CLI::IsMember({"krb", "krt", "xmi"}); }

CLI::Option* addMetaModels(CLI::App& verb, std::vector<std::string>& paths) {
  return verb.add_option("-m,--meta", paths, "The .ecore files that say what the elements are")
      ->type_name("META.ecore");
}

void addDocument(CLI::App& verb, ShowOptions& options) {
  verb.add_option("FILE", options.input, "The document, - for standard input")->required();
  verb.add_option("--from", options.from, "Format of the document, where its name and content do not tell")
      ->check(formats());
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
                           "kr0 convert books.xmi books.krb -m library.ecore");
  verb->add_option("IN", options.input, "The document to read, - for standard input")->required();
  verb->add_option("OUT", options.output, "The document to write, - for standard output")->required();
  addMetaModels(*verb, options.metaModels)->required();
  verb->add_option("--from", options.from, "Format of IN, where its name and content do not tell")
      ->check(formats());
  verb->add_option("--to", options.to,
                   "Format of OUT, where it is not krb for .krb, krt for .krt and xmi for all else")
      ->check(formats());
  verb->callback([&options] { convert(options); });
}

void addInfo(CLI::App& app, ShowOptions& options) {
  CLI::App* verb = addVerb(app, "info", "Tell format, version, packages, size and elements of a document",
                           "kr0 info books.krb -m library.ecore");
  addDocument(*verb, options);
  addMetaModels(*verb, options.metaModels);
  verb->callback([&options] { info(options); });
}

void addCat(CLI::App& app, ShowOptions& options) {
  CLI::App* verb = addVerb(app, "cat", "Print all that a document holds as a tree",
                           "kr0 cat books.krb -m library.ecore --json\n  kr0 cat books.krt");
  addDocument(*verb, options);
  addMetaModels(*verb, options.metaModels)
      ->description("The .ecore files that say what the elements are; a .krt document can do without");
  verb->add_flag("--json", options.json, "Print JSON");
  verb->add_flag("--events", options.events, "Print the tree events of the document, one a line");
  verb->callback([&options] { cat(options); });
}

void addSchema(CLI::App& app, SchemaOptions& options) {
  CLI::App* verb = addVerb(app, "schema", "Look at meta models", "kr0 schema show library.ecore");
  needVerb(*verb, "schema show");
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
  verb->add_option("IN", options.input, "The document to read, - for standard input");
  verb->add_option("OUT", options.output,
                   "The document to write: krb for .krb, krt for .krt, krz for .krz and xmi for all else");
  verb->add_option("--from", options.from, "The .ecore files that IN was written with; a .krz brings its own")
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
  needVerb(app, "convert, info, cat, migrate, schema show or generate cpp");
  app.set_version_flag("--version", "kr0 " KR0_VERSION, "Print the version and end");
  app.add_flag_callback(
      "--verbose", [] { log::setSpanListener(log::makeStderrSpanListener()); },
      "Tell every step on standard error");
  app.footer("Exit code: 0 done, 1 the input is bad, 2 the call is wrong.");
  addConvert(app, call.convert);
  addInfo(app, call.info);
  addCat(app, call.cat);
  addSchema(app, call.schema);
  addGenerate(app, call.generate);
  addMigrate(app, call.migrate);
}

int complain(const std::string& what, ExitCode code) {
  std::cerr << "kr0: " + asOneLine(what) + '\n';  // whole or, without memory for it, not at all
  return code;
}

// Help and version are results; everything else that the parser throws is a wrong call.
int answer(const CLI::App& app, const CLI::ParseError& error) {
  if (error.get_exit_code() != 0)
    return complain(std::string(error.what()) + " (see kr0 --help)", exitWrongCall);
  return app.exit(error);
}

int perform(int count, char** arguments) {
  io::registerBinaryFormats();
  Call call;
  CLI::App app("Stores models compactly: converts them, and tells what is in them.", "kr0");
  describe(app, call);
  try {
    app.parse(count, arguments);
    return exitDone;
  } catch (const CLI::ParseError& error) {
    return answer(app, error);
  }
}

// Takes no memory: there is none.
int complainOfMemory() {
  constexpr std::string_view kSentence = "kr0: there is not enough memory for this document\n";
  static_cast<void>(!::write(STDERR_FILENO, kSentence.data(), kSentence.size()));
  return exitBadInput;
}

// Memory may run out where nobody catches: before main, or for the exception itself, so that there is none.
[[noreturn]] void endUncaught() {
  if (std::current_exception() != nullptr) {
    try {
      throw;
    } catch (const std::bad_alloc&) {
    } catch (...) {
      std::abort();
    }
  }
  ::_exit(complainOfMemory());
}

// Before all else in this program: the constants of the option parser already take memory.
[[gnu::constructor(101)]] void handleUncaught() { std::set_terminate(endUncaught); }

int run(int count, char** arguments) {
  try {
    return perform(count, arguments);
  } catch (const WrongCall& error) {
    return complain(error.what(), exitWrongCall);
  } catch (const ReaderGone&) {
    return exitDone;
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& error) {
    return complain(error.what(), exitBadInput);
  }
}

// Making a complaint can fail for want of memory too.
int runInMemory(int count, char** arguments) {
  try {
    return run(count, arguments);
  } catch (const std::bad_alloc&) {
    return complainOfMemory();
  }
}

}  // namespace

}  // namespace kr::zero::tool

int main(int count, char** arguments) {
  // A reader that is gone and a limit on file sizes are errors of the write that meets them.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  kr::zero::tool::holdStandardStreams();
  return kr::zero::tool::runInMemory(count, arguments);
}
