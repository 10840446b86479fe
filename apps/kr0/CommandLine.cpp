#include "CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "CommandOptions.h"
#include "Errors.h"
#include "Manner.h"
#include "kr/zero/log/Span.h"

namespace kr::zero::tool {

namespace {

void describe(CLI::App& app) {
  app.require_subcommand(0, 1);
  needVerb(app, "convert, info, cat, unpack, migrate, query, schema or generate cpp");
  app.set_version_flag("--version", "kr0 " KR0_VERSION, "Print the version and end");
  app.add_flag("-q,--quiet", manner().isQuiet, "Print results and errors, and nothing else");
  app.add_flag_callback(
      "--verbose",
      [] {
        manner().isTalkative = true;
        log::setSpanListener(log::makeStderrSpanListener());
      },
      "Tell every step on standard error");
  app.add_option("--color", manner().color, "When standard output gets colors (auto)")
      ->check(CLI::IsMember({"auto", "always", "never"}));
  app.footer(
      "Exit code: 0 done, 1 the input is bad or the answer is no,\n"
      "2 the call is wrong, 3 done as far as a bad input let it be.");
  addDocumentCommands(app);
  addTableCommands(app);
  addSchemaCommands(app);
}

// Of `schema diff OLD... -- NEW...`.
void nameSeparator(std::vector<std::string>& words) {
  const auto schema = std::find(words.begin(), words.end(), "schema");
  const auto diff = std::find(schema, words.end(), "diff");
  const auto separator = std::find(diff, words.end(), "--");
  if (separator != words.end()) *separator = kNewSchemas;
}

// Without -o the last file of `convert` is the one to write. So there are two at least, which the parser must
// know, or -m in front of them takes the first.
void countFiles(CLI::App& app, const std::vector<std::string>& words) {
  constexpr int kFewest = 2, kMost = 1 << 29;  // the parser's own idea of any number
  const bool hasOutput = std::any_of(words.begin(), words.end(), [](const std::string& word) {
    return word.starts_with("-o") || word.starts_with("--output");
  });
  if (!hasOutput) app.get_subcommand("convert")->get_option("FILE")->expected(kFewest, kMost);
}

}  // namespace

int performCall(int count, char** arguments) {
  CLI::App app("Stores models compactly: converts them, and tells what is in them.", "kr0");
  describe(app);
  try {
    std::vector<std::string> words(arguments + std::min(count, 1), arguments + count);
    nameSeparator(words);
    countFiles(app, words);
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
