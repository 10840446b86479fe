#include "CommandLine.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "CommandOptions.h"
#include "Definitions.h"
#include "Errors.h"
#include "Files.h"
#include "Manner.h"
#include "Spelling.h"
#include "Visible.h"
#include "kr/zero/log/Span.h"

namespace kr::zero::tool {

namespace {

// --- What was described, for others than the parser

// The names between the braces of "TEXT:{krb,krt}".
std::vector<std::string> choicesOf(const std::string& type) {
  const std::size_t start = type.find('{'), end = type.find('}');
  if (start == std::string::npos || end == std::string::npos) return {};
  return CLI::detail::split(type.substr(start + 1, end - start - 1), ',');
}

OptionDefinition definitionOf(const CLI::Option& option) {
  OptionDefinition definition{.meaning = option.get_description(),
                              .isRequired = option.get_required(),
                              .isMany = option.get_items_expected_max() > 1};
  if (option.get_positional()) definition.names.push_back(option.get_name(true));
  for (const std::string& name : option.get_snames()) definition.names.push_back('-' + name);
  for (const std::string& name : option.get_lnames()) definition.names.push_back("--" + name);
  if (option.get_items_expected_max() == 0) return definition;
  const std::string type = option.get_type_name();
  definition.choices = choicesOf(type);
  definition.value = definition.choices.empty() ? type.substr(0, type.find(':'))
                                                : CLI::detail::join(definition.choices, "|");
  return definition;
}

// As deep as the descriptions go.
VerbDefinition definitionOf(const CLI::App& app) {
  VerbDefinition definition{
      .name = app.get_name(), .deed = app.get_description(), .example = app.get_footer()};
  for (const CLI::Option* option : app.get_options())
    (option->get_positional() ? definition.files : definition.options).push_back(definitionOf(*option));
  for (const CLI::App* verb : app.get_subcommands([](const CLI::App*) { return true; }))
    definition.verbs.push_back(definitionOf(*verb));
  return definition;
}

void addCompletion(CLI::App& app) {
  CLI::App* verb = addVerb(app, "completion", "Print a script that lets a shell complete calls",
                           "kr0 completion bash > ~/.local/share/bash-completion/completions/kr0");
  const auto shell = std::make_shared<std::string>();
  verb->add_option("SHELL", *shell, "The shell")->required()->check(CLI::IsMember({"bash", "zsh", "fish"}));
  verb->callback([&app, shell] { writeOutput("-", completionScript(definitionOf(app), *shell)); });
}

void writePages(const CLI::App& app, const std::string& folder) {
  makeFolder(folder);
  for (const auto& [name, page] : allManPages(definitionOf(app))) writeOutput(folder + '/' + name, page);
}

void addMan(CLI::App& app) {
  CLI::App* verb = addVerb(app, "man", "Print the manual page of a verb",
                           "kr0 man schema diff | man -l -\n  kr0 man -o man1");
  struct Options {
    std::vector<std::string> path;
    std::string folder;
  };
  const auto kept = std::make_shared<Options>();
  verb->add_option("VERB", kept->path, "Its words; without any, that of all");
  verb->add_option("-o,--output", kept->folder, "The folder for all pages, instead of one")->type_name("DIR");
  verb->callback([&app, kept] {
    if (!kept->folder.empty()) return writePages(app, kept->folder);
    writeOutput("-", manPage(definitionOf(app), kept->path));
  });
}

void describe(CLI::App& app) {
  app.require_subcommand(0, 1);
  needVerb(app);
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
  addCompareCommands(app);
  addInspectCommands(app);
  addReportCommands(app);
  addStudyCommands(app);
  addAssembleCommands(app);
  addCompletion(app);
  addMan(app);
}

// The verb that was understood last.
const CLI::App& deepestOf(const CLI::App& app) {
  const CLI::App* verb = &app;
  while (!verb->get_subcommands().empty()) verb = verb->get_subcommands().front();
  return *verb;
}

// What may have been meant by a word that nobody expected; empty where it is like nothing.
std::string guess(const CLI::App& app, const std::string& word) {
  const VerbDefinition program = definitionOf(app), verb = definitionOf(deepestOf(app));
  std::vector<std::string> names;
  for (const VerbDefinition* known : {&verb, &program})
    for (const OptionDefinition& option : known->options)
      names.insert(names.end(), option.names.begin(), option.names.end());
  for (const VerbDefinition& below : verb.verbs) names.push_back(below.name);
  const std::string meant = nearestName(word, names);
  return meant.empty() ? meant : "; did you mean " + meant + "?";
}

// A call that is not understood, in a sentence.
std::string complaint(const CLI::App& app, const CLI::ParseError& error) {
  const std::vector<std::string> words = app.remaining(true);
  if (words.empty()) return error.what();
  const std::string& word = words.front();
  const bool isVerb =
      !word.starts_with('-') && !deepestOf(app).get_subcommands([](const CLI::App*) { return true; }).empty();
  return (isVerb ? "there is no verb " : "nothing here is called ") + inQuotes(word) + guess(app, word);
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

// Help and version are results.
int writeAnswer(const CLI::App& app, const CLI::ParseError& question) {
  std::ostringstream text;
  const int code = app.exit(question, text, text);
  writeOutput("-", text.str());
  return code;
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
    if (error.get_exit_code() == 0) return writeAnswer(app, error);
    throw WrongCall(complaint(app, error) + " (see kr0 --help)");
  }
}

}  // namespace kr::zero::tool
