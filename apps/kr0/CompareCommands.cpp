// The verbs for versions of documents: diff, merge, git-setup.

#include <CLI/CLI.hpp>
#include <memory>

#include "CommandOptions.h"
#include "Compare.h"

namespace kr::zero::tool {

namespace {

void addDiff(CLI::App& app) {
  const auto kept = std::make_shared<DiffOptions>();
  DiffOptions& options = *kept;
  CLI::App* verb = addVerb(app, "diff", "Tell what differs between two documents, element by element",
                           "kr0 diff old.krz new.krz\n"
                           "  kr0 diff old.xmi new.krb -m library.ecore --json\n"
                           "Exit code: 0 they are equal, 1 they differ, 2 it could not be found out.");
  verb->add_option("FILE", options.paths, "The two documents, - for standard input")->required();
  verb->add_flag("--json", options.json, "Print JSON");
  verb->add_flag("--stat", options.stat, "Print how many differences there are, by class");
  verb->add_flag("--git", options.isForGit,
                 "Take the files as git passes them to its drivers (see git-setup)");
  addReading(*verb, options, "FILE");
  verb->callback([kept] { diff(*kept); });
}

void addMerge(CLI::App& app) {
  const auto kept = std::make_shared<MergeOptions>();
  MergeOptions& options = *kept;
  CLI::App* verb =
      addVerb(app, "merge", "Merge what two sides made of one document",
              "kr0 merge base.krz ours.krz theirs.krz -o merged.krz\n"
              "Where both sides changed one thing in different ways, the merged document has that of ours.\n"
              "Exit code: 0 all is merged, 1 with conflicts, which are printed, 2 nothing was written.");
  verb->add_option("BASE", options.base, "The document that both were made from; may be an empty file")
      ->required();
  verb->add_option("OURS", options.ours, "The document of the one side")->required();
  verb->add_option("THEIRS", options.theirs, "The document of the other side")->required();
  verb->add_option("-o,--output", options.output,
                   "The document to write; in the format of OURS, where the name has no extension")
      ->required()
      ->type_name("FILE");
  verb->add_flag("--json", options.json, "Print the conflicts as JSON");
  addReading(*verb, options, "the documents");
  verb->callback([kept] { merge(*kept); });
}

void addGitSetup(CLI::App& app) {
  const auto kept = std::make_shared<GitSetupOptions>();
  GitSetupOptions& options = *kept;
  options.patterns = {"*.krb", "*.krt", "*.krz"};
  CLI::App* verb = addVerb(app, "git-setup", "Have git compare and merge documents by their elements",
                           "kr0 git-setup --apply '*.krz'\n"
                           "  kr0 git-setup -m library.ecore | sh");
  verb->add_option("PATTERN", options.patterns, "Which files, as .gitattributes has it")
      ->capture_default_str();
  addMetaModels(*verb, options.metaModels)
      ->description("The .ecore files that say what the elements are; .krz needs none");
  verb->add_flag("--apply", options.isApplied, "Set it in this repository, and do not print how");
  verb->callback([kept] { setUpGit(*kept); });
}

}  // namespace

void addCompareCommands(CLI::App& app) {
  addDiff(app);
  addMerge(app);
  addGitSetup(app);
}

}  // namespace kr::zero::tool
