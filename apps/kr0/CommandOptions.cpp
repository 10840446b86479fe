#include "CommandOptions.h"

#include <utility>

#include "Errors.h"

namespace kr::zero::tool {

namespace {

std::string refuseNegative(std::string number) {
  if (number.starts_with('-')) throw CLI::ValidationError("it cannot be negative");
  return number;
}

void addUris(const std::vector<std::string>& pairs, ecore::UriMap& uriMap) {
  for (const std::string& pair : pairs) {
    const std::size_t equals = pair.find('=');
    if (equals == 0 || equals == pair.npos || equals + 1 == pair.size())
      throw CLI::ValidationError("--map-uri: " + pair + ": write OLD=NEW");
    uriMap.add(pair.substr(0, equals), pair.substr(equals + 1));
  }
}

}  // namespace

CLI::App* addVerb(CLI::App& app, const std::string& name, const std::string& deed,
                  const std::string& example) {
  CLI::App* verb = app.add_subcommand(name, deed)->fallthrough();
  return verb->footer("Example:\n  " + example);
}

void needVerb(CLI::App& app) {
  app.callback([&app] {
    if (!app.get_subcommands().empty()) return;
    std::string verbs = app.get_parent() == nullptr ? "" : app.get_name() + ' ';
    const std::vector<const CLI::App*> all =
        std::as_const(app).get_subcommands([](const CLI::App*) { return true; });
    for (const CLI::App* verb : all)
      verbs += (verb == all.front() ? "" : verb == all.back() ? " or " : ", ") + verb->get_name();
    throw WrongCall("say what to do: " + verbs + " (see kr0 --help)");
  });
}

CLI::IsMember isFormat() { return CLI::IsMember({"krb", "krt", "xmi", "krz", "json"}); }
CLI::IsMember isWrittenFormat() {
  return CLI::IsMember({"krb", "krt", "xmi", "krz", "json", "sqlite", "csv", "ndjson"});
}

CLI::Option* addMetaModels(CLI::App& verb, std::vector<std::string>& paths) {
  return verb.add_option("-m,--meta", paths, "The .ecore files that say what the elements are")
      ->type_name("META.ecore");
}

void addLimit(CLI::App& verb, std::uint64_t& limit) {
  verb.add_option("--limit", limit, "How much what is compressed may unpack to; 4G unless given")
      ->type_name("BYTES")
      ->transform(CLI::AsSizeValue(false))
      ->transform(refuseNegative, "");  // runs before the one above, which would take it for a large number
}

void addReading(CLI::App& verb, ReadOptions& reading, const std::string& name) {
  verb.add_option("--from", reading.from, "Format of " + name + ", where its name and content do not tell")
      ->check(isFormat());
  addMetaModels(verb, reading.metaModels)
      ->description("The .ecore files that say what the elements are; a .krz brings them along");
  addLimit(verb, reading.limit);
  addFinding(verb, reading, name + " and meta models");
  verb.add_flag("--follow", reading.follow,
                "Read the other XMI documents that an XMI document refers to, too, in its folder and below");
}

void addFinding(CLI::App& verb, ReadOptions& reading, const std::string& name) {
  verb.add_option("--meta-path", reading.metaPath,
                  "A folder whose .ecore files are found by the URIs of their packages; more than once for "
                  "more. Those of KR0_META_PATH, a list with colons, come behind")
      ->type_name("DIR")
      ->allow_extra_args(false);
  verb.add_option_function<std::vector<std::string>>(
          "--map-uri", [&reading](const std::vector<std::string>& pairs) { addUris(pairs, reading.uriMap); },
          "In " + name +
              ", OLD means NEW: a package, a document, or with a / behind both all below it; "
              "more than once for more")
      ->type_name("OLD=NEW")
      ->allow_extra_args(false);
  verb.add_flag("--keep-going", reading.keepGoing,
                "Of XMI and .ecore read what can be read, and tell what not: the first 1000 problems of a "
                "document, a line each. Exit code 3");
}

void addWriting(CLI::App& verb, std::string& format, WriteOptions& writing) {
  verb.add_option("--to", format, "Format of what is written, where its name does not tell")
      ->check(isWrittenFormat());
  verb.add_option("--level", writing.level, "How much to compress .krz, .gz and .zst: 1 fast, 19 small")
      ->check(CLI::Range(1, 19));
  verb.add_flag("--tagged", writing.tagged, "Have the .krz hold a .krt and not a .krb");
}

void addInput(CLI::App& verb, InputOptions& input, const std::string& name, const std::string& what) {
  verb.add_option(name, input.path, what + ", - for standard input")->required();
  addReading(verb, input, name);
}

void addInputs(CLI::App& verb, InputsOptions& inputs, const std::string& what) {
  verb.add_option("FILE", inputs.paths, what + ", - for standard input")->required();
  verb.add_option("-j,--jobs", inputs.jobs, "How many documents to look at side by side")
      ->type_name("N")
      ->check(CLI::Range(1, kMostJobs));
  addReading(verb, inputs, "FILE");
}

}  // namespace kr::zero::tool
