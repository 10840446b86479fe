/// @file
/// Internal: what can be asked of the tool, as man pages and completion scripts tell it. Taken from the
/// descriptions that calls are understood by, so that the two cannot differ.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace kr::zero::tool {

/// An option, or files that a verb takes.
struct OptionDefinition {
  std::vector<std::string> names = {};    ///< "-o", "--output"; of files one, as the help names them
  std::string value = {};                 ///< what the help calls its value; empty for a flag
  std::vector<std::string> choices = {};  ///< the values that there are, where these are all
  std::string meaning = {};
  bool isRequired = false;
  bool isMany = false;  ///< whether it takes several values

  bool isFlag() const { return value.empty(); }
};

/// A verb, and the verbs below it. That of the program itself is the outermost.
struct VerbDefinition {
  std::string name = {};     ///< the last word only
  std::string deed = {};     ///< a sentence
  std::string example = {};  ///< what stands at the end of its help
  std::vector<OptionDefinition> files = {};
  std::vector<OptionDefinition> options = {};
  std::vector<VerbDefinition> verbs = {};
};

/// Words in one line.
inline std::string joined(const std::vector<std::string>& words, const std::string& between = " ") {
  std::string out;
  for (const std::string& word : words) out += (out.empty() ? "" : between) + word;
  return out;
}

/// A man page in roff, for the program or a verb of it.
/// @param path the words behind "kr0".
std::string manPage(const VerbDefinition& program, const std::vector<std::string>& path);

/// All of them, by file name ("kr0-convert.1").
std::map<std::string, std::string> allManPages(const VerbDefinition& program);

/// A completion script.
/// @param shell "bash", "zsh" or "fish".
std::string completionScript(const VerbDefinition& program, const std::string& shell);

}  // namespace kr::zero::tool
