// The verbs that look at documents closely: check, stats, digest.

#include <CLI/CLI.hpp>
#include <memory>

#include "CommandOptions.h"
#include "Study.h"

namespace kr::zero::tool {

namespace {

void addCheck(CLI::App& app) {
  const auto kept = std::make_shared<CheckOptions>();
  CheckOptions& options = *kept;
  CLI::App* verb =
      addVerb(app, "check", "Tell whether documents are whole and keep the rules of their meta model",
              "kr0 check books.krz\n  kr0 check *.krb -m library.ecore -j 4 --strict");
  addInputs(*verb, options.inputs, "The documents");
  verb->add_flag("--strict", options.strict, "Take references that lead nowhere for mistakes, too");
  verb->add_flag("--json", options.json, "Print JSON");
  verb->callback([kept] { check(*kept); });
}

void addStats(CLI::App& app) {
  constexpr std::size_t kMostTexts = 1'000'000;
  const auto kept = std::make_shared<StatsOptions>();
  StatsOptions& options = *kept;
  CLI::App* verb = addVerb(app, "stats", "Tell what documents hold, and what their bytes are spent on",
                           "kr0 stats books.krb -m library.ecore\n  kr0 stats books.krz --as krt --json");
  addInputs(*verb, options.inputs, "The documents");
  verb->add_option("--as", options.as, "The format whose bytes are told, if not that of the document")
      ->check(CLI::IsMember({"krb", "krt"}));
  verb->add_option("--texts", options.texts, "How many of the most frequent texts to show (5)")
      ->type_name("N")
      ->check(CLI::Range(std::size_t{0}, kMostTexts));
  verb->add_flag("--json", options.json, "Print JSON");
  verb->callback([kept] { showStatistics(*kept); });
}

void addDigest(CLI::App& app) {
  const auto kept = std::make_shared<DigestOptions>();
  DigestOptions& options = *kept;
  CLI::App* verb = addVerb(app, "digest", "Print a digest of what documents say, the same in every format",
                           "kr0 digest books.krb books.xmi -m library.ecore");
  addInputs(*verb, options.inputs, "The documents");
  verb->callback([kept] { printDigests(*kept); });
}

}  // namespace

void addStudyCommands(CLI::App& app) {
  addCheck(app);
  addStats(app);
  addDigest(app);
}

}  // namespace kr::zero::tool
