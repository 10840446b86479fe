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
  UnpackOptions unpack;
  SchemaOptions schema;
  GenerateOptions generate;
};

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

void describe(CLI::App& app, Call& call) {
  app.require_subcommand(0, 1);
  needVerb(app, "convert, info, cat, unpack, schema show or generate cpp");
  app.set_version_flag("--version", "kr0 " KR0_VERSION, "Print the version and end");
  app.add_flag_callback(
      "--verbose", [] { log::setSpanListener(log::makeStderrSpanListener()); },
      "Tell every step on standard error");
  app.footer("Exit code: 0 done, 1 the input is bad, 2 the call is wrong.");
  addConvert(app, call.convert);
  addInfo(app, call.info);
  addCat(app, call.cat);
  addUnpack(app, call.unpack);
  addSchema(app, call.schema);
  addGenerate(app, call.generate);
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

bool isMemoryLeft() {
  constexpr std::size_t kLittle = 4096;
  void* volatile probe = std::malloc(kLittle);  // volatile, or the compiler takes it for granted
  return probe != nullptr;
}

// Memory may run out where nobody catches: before main, or for the exception itself, so that there is none,
// or only the one that was being handled.
[[noreturn]] void endUncaught() {
  if (std::current_exception() != nullptr) {
    try {
      throw;
    } catch (const std::bad_alloc&) {
    } catch (...) {
      if (isMemoryLeft()) std::abort();
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
