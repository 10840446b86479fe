// Man pages, in the macros of man(7).

#include <algorithm>
#include <cctype>

#include "Definitions.h"
#include "Errors.h"

namespace kr::zero::tool {

namespace {

// Text in which nothing is taken for a request or a special character.
std::string plain(const std::string& text) {
  std::string out;
  for (const char character : text) {
    if (character == '\\')
      out += "\\e";
    else if (character == '-')
      out += "\\-";
    else
      out += character;
  }
  // A line that begins so would be a request.
  if (out.starts_with('.') || out.starts_with('\'')) out.insert(0, "\\&");
  return out;
}

std::string bold(const std::string& text) { return "\\fB" + plain(text) + "\\fR"; }
std::string italic(const std::string& text) { return "\\fI" + plain(text) + "\\fR"; }

const VerbDefinition& find(const VerbDefinition& program, const std::vector<std::string>& path) {
  const VerbDefinition* verb = &program;
  for (const std::string& word : path) {
    const auto next = std::find_if(verb->verbs.begin(), verb->verbs.end(),
                                   [&](const VerbDefinition& below) { return below.name == word; });
    if (next == verb->verbs.end()) throw WrongCall("there is no verb \"" + joined(path, " ") + '"');
    verb = &*next;
  }
  return *verb;
}

std::string synopsis(const VerbDefinition& verb, const std::string& name) {
  std::string out = ".SH SYNOPSIS\n" + bold(name);
  if (!verb.verbs.empty()) out += ' ' + italic("VERB");
  for (const OptionDefinition& file : verb.files) {
    const std::string shown = italic(file.names.front()) + (file.isMany ? " ..." : "");
    out += ' ' + (file.isRequired ? shown : '[' + shown + ']');
  }
  for (const OptionDefinition& option : verb.options)
    if (option.isRequired) out += ' ' + bold(option.names.back()) + ' ' + italic(option.value);
  return out + " [" + italic("OPTION") + " ...]\n";
}

bool isOption(const OptionDefinition& option) { return option.names.front().starts_with('-'); }

std::string described(const OptionDefinition& option) {
  std::string out = ".TP\n";
  for (const std::string& name : option.names) out += (name == option.names.front() ? "" : ", ") + bold(name);
  if (isOption(option) && !option.isFlag()) out += ' ' + italic(option.value) + (option.isMany ? " ..." : "");
  out += '\n' + plain(option.meaning);
  return out + ".\n";
}

std::string section(const std::string& title, const std::vector<OptionDefinition>& options) {
  if (options.empty()) return {};
  std::string out = ".SH " + title + '\n';
  for (const OptionDefinition& option : options) out += described(option);
  return out;
}

std::string verbsOf(const VerbDefinition& verb, const std::string& name) {
  if (verb.verbs.empty()) return {};
  std::string out = ".SH VERBS\n";
  for (const VerbDefinition& below : verb.verbs)
    out += ".TP\n" + bold(name + ' ' + below.name) + '\n' + plain(below.deed) + ".\n";
  return out;
}

// The end of the help, line by line as it is.
std::string example(const VerbDefinition& verb) {
  if (verb.example.empty()) return {};
  std::string out = ".SH NOTES\n.nf\n";
  for (std::size_t start = 0; start < verb.example.size();) {
    const std::size_t end = std::min(verb.example.find('\n', start), verb.example.size());
    out += plain(verb.example.substr(start, end - start)) + '\n';
    start = end + 1;
  }
  return out + ".fi\n";
}

}  // namespace

std::string manPage(const VerbDefinition& program, const std::vector<std::string>& path) {
  const VerbDefinition& verb = find(program, path);
  const std::string name = path.empty() ? program.name : program.name + ' ' + joined(path, " ");
  std::string page = path.empty() ? program.name : program.name + '-' + joined(path, "-");
  std::string title = page;
  std::transform(title.begin(), title.end(), title.begin(),
                 [](char character) { return static_cast<char>(std::toupper(character)); });
  return ".TH " + title + " 1 \"\" \"kr0 " KR0_VERSION "\"\n.SH NAME\n" + plain(page) + " \\- " +
         plain(verb.deed) + '\n' + synopsis(verb, name) + verbsOf(verb, name) +
         section("ARGUMENTS", verb.files) + section("OPTIONS", verb.options) + example(verb);
}

std::map<std::string, std::string> allManPages(const VerbDefinition& program) {
  std::map<std::string, std::string> pages;
  std::vector<std::vector<std::string>> waiting = {{}};
  while (!waiting.empty()) {
    const std::vector<std::string> path = std::move(waiting.back());
    waiting.pop_back();
    pages[program.name + (path.empty() ? "" : "-" + joined(path, "-")) + ".1"] = manPage(program, path);
    for (const VerbDefinition& below : find(program, path).verbs) {
      waiting.push_back(path);
      waiting.back().push_back(below.name);
    }
  }
  return pages;
}

}  // namespace kr::zero::tool
