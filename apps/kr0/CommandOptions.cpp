#include "CommandOptions.h"

#include <utility>

#include "Errors.h"

namespace kr::zero::tool {

namespace {

std::string refuseNegative(std::string number) {
  if (number.starts_with('-')) throw CLI::ValidationError("it cannot be negative");
  return number;
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
