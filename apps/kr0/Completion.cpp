// Completion of calls, for three shells.

#include <functional>

#include "Definitions.h"

namespace kr::zero::tool {

namespace {

using Visit = std::function<void(const VerbDefinition& verb, const std::vector<std::string>& path)>;

// As deep as verbs are nested, which this program decides.
void visitVerbs(const VerbDefinition& verb, const std::vector<std::string>& path, const Visit& visit) {
  visit(verb, path);
  for (const VerbDefinition& below : verb.verbs) {
    std::vector<std::string> deeper = path;
    deeper.push_back(below.name);
    visitVerbs(below, deeper, visit);
  }
}

// In single quotes, as the shells take it.
std::string inSingleQuotes(const std::string& text, const std::string& quote = "'\\''") {
  std::string out = "'";
  for (const char character : text) out += character == '\'' ? quote : std::string(1, character);
  return out + "'";
}

// Those of a verb and those of the program, which stand behind any verb.
std::vector<OptionDefinition> optionsOf(const VerbDefinition& program, const VerbDefinition& verb) {
  std::vector<OptionDefinition> options = verb.options;
  if (&program == &verb) return options;
  for (const OptionDefinition& option : program.options)
    if (option.names.back() != "--help" && option.names.back() != "--version") options.push_back(option);
  return options;
}

std::string bashScript(const VerbDefinition& program) {
  std::string verbs, values, words;
  visitVerbs(program, {}, [&](const VerbDefinition& verb, const std::vector<std::string>& path) {
    const std::string name = joined(path);
    std::string known;
    for (const OptionDefinition& option : optionsOf(program, verb)) {
      known += ' ' + joined(option.names);
      if (option.choices.empty()) continue;
      for (const std::string& spelling : option.names)
        values += "    " + inSingleQuotes(name + ' ' + spelling) + ") COMPREPLY=($(compgen -W " +
                  inSingleQuotes(joined(option.choices)) + " -- \"$word\")); return ;;\n";
    }
    std::string below;
    for (const VerbDefinition& next : verb.verbs) below += (below.empty() ? "" : " ") + next.name;
    for (const VerbDefinition& next : verb.verbs)
      verbs +=
          "      " + inSingleQuotes(name + (name.empty() ? "" : " ") + next.name) + ") verb=\"$next\" ;;\n";
    words += "    " + inSingleQuotes(name) +
             ") options=" + inSingleQuotes(known.empty() ? known : known.substr(1)) +
             " verbs=" + inSingleQuotes(below) + " ;;\n";
  });
  return "# Completion of " + program.name + " for bash\n_" + program.name +
         "() {\n"
         "  local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} verb= next i options "
         "verbs\n"
         "  for ((i = 1; i < COMP_CWORD; ++i)); do\n"
         "    next=${verb:+$verb }${COMP_WORDS[i]}\n"
         "    case $next in\n" +
         verbs +
         "    esac\n"
         "  done\n"
         "  case \"$verb $before\" in\n" +
         values +
         "  esac\n"
         "  case $verb in\n" +
         words +
         "  esac\n"
         "  if [[ $word == -* ]]; then\n"
         "    COMPREPLY=($(compgen -W \"$options\" -- \"$word\"))\n"
         "  elif [[ -n $verbs ]]; then\n"
         "    COMPREPLY=($(compgen -W \"$verbs\" -- \"$word\"))\n"
         "  else\n"
         "    COMPREPLY=($(compgen -f -- \"$word\"))\n"
         "  fi\n"
         "}\n"
         "complete -o filenames -F _" +
         program.name + ' ' + program.name + '\n';
}

// A meaning inside the brackets of _arguments.
std::string zshMeaning(const std::string& text) {
  std::string out;
  for (const char character : text) {
    if (character == '[' || character == ']' || character == ':' || character == '\\') out += '\\';
    out += character;
  }
  return out;
}

std::string zshOption(const OptionDefinition& option) {
  std::string out;
  for (const std::string& name : option.names) {
    std::string argument = (option.isMany ? "*" : "") + name + '[' + zshMeaning(option.meaning) + ']';
    if (!option.isFlag())
      argument += ':' + zshMeaning(option.value) + ':' +
                  (option.choices.empty() ? "_files" : '(' + joined(option.choices) + ')');
    out += "    " + inSingleQuotes(argument) + " \\\n";
  }
  return out;
}

std::string zshFunction(const VerbDefinition& program, const VerbDefinition& verb,
                        const std::vector<std::string>& path) {
  const std::string name = "_" + program.name + (path.empty() ? "" : "_" + joined(path, "_"));
  std::string out = name + "() {\n  local line state\n  _arguments -C \\\n";
  for (const OptionDefinition& option : optionsOf(program, verb)) out += zshOption(option);
  if (verb.verbs.empty()) return out + "    '*:file:_files'\n}\n";
  out += "    '1: :->verb' '*::argument:->arguments'\n  case $state in\n    verb) _values verb";
  for (const VerbDefinition& below : verb.verbs)
    out += " \\\n      " + inSingleQuotes(below.name + '[' + zshMeaning(below.deed) + ']');
  out += " ;;\n    arguments)\n      case $line[1] in\n";
  for (const VerbDefinition& below : verb.verbs)
    out += "        " + below.name + ") " + name + '_' + below.name + " ;;\n";
  return out + "      esac ;;\n  esac\n}\n";
}

std::string zshScript(const VerbDefinition& program) {
  std::string out = "#compdef " + program.name + "\n# Completion of " + program.name + " for zsh\n";
  visitVerbs(program, {}, [&](const VerbDefinition& verb, const std::vector<std::string>& path) {
    out += zshFunction(program, verb, path);
  });
  return out + '_' + program.name + " \"$@\"\n";
}

// What must have been said for a verb to be the one that is completed.
std::string fishCondition(const VerbDefinition& verb, const std::vector<std::string>& path) {
  std::string out;
  for (const std::string& word : path)
    out += (out.empty() ? "" : "; and ") + ("__fish_seen_subcommand_from " + word);
  if (verb.verbs.empty()) return out;
  std::string below;
  for (const VerbDefinition& next : verb.verbs) below += ' ' + next.name;
  return out + (out.empty() ? "" : "; and ") + "not __fish_seen_subcommand_from" + below;
}

std::string fishScript(const VerbDefinition& program) {
  constexpr const char* kQuote = "\\'";
  std::string out = "# Completion of " + program.name + " for fish\n";
  const std::string start = "complete -c " + program.name;
  visitVerbs(program, {}, [&](const VerbDefinition& verb, const std::vector<std::string>& path) {
    const std::string where = start + " -n " + inSingleQuotes(fishCondition(verb, path), kQuote);
    for (const VerbDefinition& below : verb.verbs)
      out += where + " -f -a " + below.name + " -d " + inSingleQuotes(below.deed, kQuote) + '\n';
    for (const OptionDefinition& option : optionsOf(program, verb)) {
      out += where;
      for (const std::string& name : option.names)
        out += name.starts_with("--") ? " -l " + name.substr(2) : " -s " + name.substr(1);
      if (!option.choices.empty())
        out += " -x -a " + inSingleQuotes(joined(option.choices), kQuote);
      else if (!option.isFlag())
        out += " -r";
      out += " -d " + inSingleQuotes(option.meaning, kQuote) + '\n';
    }
  });
  return out;
}

}  // namespace

std::string completionScript(const VerbDefinition& program, const std::string& shell) {
  if (shell == "bash") return bashScript(program);
  return shell == "zsh" ? zshScript(program) : fishScript(program);
}

}  // namespace kr::zero::tool
