// kr0 git-setup: has git compare and merge documents by this tool.
#include <spawn.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <system_error>
#include <utility>

#include "Child.h"
#include "Compare.h"
#include "Errors.h"
#include "Files.h"
#include "Visible.h"

extern char** environ;

namespace kr::zero::tool {

namespace {

namespace fs = std::filesystem;

// A setting of git and its value.
using Setting = std::pair<std::string, std::string>;

// As the shell takes it for one word.
std::string asWord(const std::string& text) {
  constexpr std::string_view kPlain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-./+:@%,=";
  if (!text.empty() && text.find_first_not_of(kPlain) == std::string::npos) return text;
  std::string word = "'";
  for (const char c : text) word += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return word + '\'';
}

// The folder of the work tree around the current one; empty where there is none.
fs::path findWorkTree() {
  std::error_code ignored;
  for (fs::path folder = fs::current_path(); !folder.empty(); folder = folder.parent_path()) {
    if (fs::exists(folder / ".git", ignored)) return folder;
    if (folder == folder.parent_path()) break;
  }
  return {};
}

// git runs its drivers in the topmost folder of the work tree.
std::string metaModelWords(const std::vector<std::string>& metaModels, const fs::path& workTree) {
  std::string words;
  for (const std::string& path : metaModels) {
    const fs::path place = fs::absolute(path).lexically_normal();
    const fs::path inside = workTree.empty() ? fs::path() : place.lexically_relative(workTree);
    const bool isInside = !inside.empty() && *inside.begin() != "..";
    words += " -m " + asWord((isInside ? inside : place).string());
  }
  return words;
}

std::vector<Setting> settings(const std::string& metaModels) {
  return {{"diff.kr0.command", "kr0 diff --git" + metaModels + " --"},
          {"diff.kr0.textconv", "kr0 cat --stable" + metaModels + " --"},
          {"merge.kr0.name", "elements of models, by kr0"},
          {"merge.kr0.driver", "kr0 merge %O %A %B -o %A" + metaModels}};
}

// A pattern as .gitattributes has it.
std::string attributeLine(const std::string& pattern) {
  const bool isPlain = pattern.find_first_of(" \t\"\\") == std::string::npos;
  return (isPlain ? pattern : inQuotes(pattern)) + " diff=kr0 merge=kr0";
}

void printCommands(const GitSetupOptions& options, const std::vector<Setting>& wanted) {
  TextOut out;
  for (const std::string& pattern : options.patterns)
    out << "echo " << asWord(attributeLine(pattern)) << " >> .gitattributes\n";
  for (const auto& [name, value] : wanted) out << "git config " << name << ' ' << asWord(value) << '\n';
  out.flush();
}

void callGit(const std::vector<std::string>& arguments) {
  std::vector<char*> words;
  words.reserve(arguments.size() + 1);
  for (const std::string& argument : arguments) words.push_back(const_cast<char*>(argument.c_str()));
  words.push_back(nullptr);
  pid_t child = 0;
  const int failure = ::posix_spawnp(&child, "git", nullptr, nullptr, words.data(), environ);
  if (failure != 0)
    throw Error(ErrorCode::unreadable, "git cannot be run: " + std::generic_category().message(failure));
  if (waitForEnd(child) != 0)
    throw Error(ErrorCode::unwritable, "git does not take the setting " + arguments.at(3));
}

void addAttributes(const fs::path& file, const std::vector<std::string>& patterns) {
  std::string text;
  if (fs::exists(file)) {
    const std::vector<std::uint8_t> bytes = readInput(file.string());
    text.assign(bytes.begin(), bytes.end());
  }
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  const std::size_t before = text.size();
  if (!text.empty() && !text.ends_with('\n')) text += '\n';
  bool isNew = false;
  for (const std::string& pattern : patterns) {
    const std::string line = attributeLine(pattern);
    if (std::find(lines.begin(), lines.end(), line) != lines.end()) continue;
    text += line + '\n';
    isNew = true;
  }
  if (isNew && text.size() != before) writeOutput(file.string(), text);
}

}  // namespace

void setUpGit(const GitSetupOptions& options) {
  const fs::path workTree = findWorkTree();
  const std::vector<Setting> wanted = settings(metaModelWords(options.metaModels, workTree));
  if (!options.isApplied) return printCommands(options, wanted);
  if (workTree.empty()) throw WrongCall("this folder is in no work tree of git");
  for (const auto& [name, value] : wanted) callGit({"git", "config", "--local", name, value});
  addAttributes(workTree / ".gitattributes", options.patterns);
}

}  // namespace kr::zero::tool
