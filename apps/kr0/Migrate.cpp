#include <filesystem>
#include <iostream>

#include "Commands.h"
#include "Errors.h"
#include "Files.h"
#include "Visible.h"
#include "kr/zero/archive/Archive.h"
#include "kr/zero/evolution/CarryOver.h"
#include "kr/zero/evolution/DraftMap.h"

namespace kr::zero::tool {

namespace {

using evolution::CarryOverReport;
using evolution::Finding;

// A model with the meta model that it lives by.
struct Loaded {
  archive::LoadedArchive archive;
  std::unique_ptr<MetaModels> metaModels;
  std::optional<Model> own;

  const Model& model() const { return own ? *own : archive.model; }
};

bool isArchiveName(const std::string& path) { return std::filesystem::path(path).extension() == ".krz"; }

Loaded load(const MigrateOptions& options, ProgressBar& progress) {
  Loaded loaded;
  if (isArchiveName(options.input) && options.from.empty()) {
    progress.startStep("reading " + options.input);
    loaded.archive = archive::loadArchive(options.input);
    return loaded;
  }
  if (options.from.empty())
    throw WrongCall(inputName(options.input) +
                    ": only archives bring their meta model, give that of other documents with --from");
  loaded.metaModels = std::make_unique<MetaModels>(options.from);
  if (isArchiveName(options.input))
    loaded.own = archive::loadArchive(options.input, loaded.metaModels->registry());
  else
    loaded.own = readModel(readDocument(options.input, std::nullopt, progress), *loaded.metaModels, progress);
  return loaded;
}

void save(const Model& model, const std::string& path, const MetaModels& metaModels, ProgressBar& progress) {
  progress.startStep("writing " + path);
  if (isArchiveName(path))
    archive::saveArchive(model, path, {.mapping = &metaModels.mapping()});
  else
    writeModel(model, path, outputFormat(path), metaModels, progress);
}

bool isJsonName(const std::string& path) { return std::filesystem::path(path).extension() == ".json"; }

// Into its file; without one, what somebody should know goes to standard error.
void tell(const CarryOverReport& report, const MigrateOptions& options) {
  if (!options.report.empty())
    return writeOutput(options.report, isJsonName(options.report) ? toJson(report) : toText(report));
  const auto print = [](const char* what, const std::vector<Finding>& findings) {
    for (const Finding& finding : findings)
      std::cerr << "kr0: " << (finding.asked ? "asked for" : what) << ": " << asOneLine(finding.sentence())
                << '\n';
  };
  print("loss", report.losses);
  print("notice", report.notices);
}

evolution::CarryOverOptions carryOverOptions(const MigrateOptions& options) {
  evolution::CarryOverOptions carrying{.allowLoss = options.allowLoss};
  if (options.map.empty()) return carrying;
  const std::vector<std::uint8_t> bytes = readInput(options.map);
  carrying.map = evolution::parseChangeMap({reinterpret_cast<const char*>(bytes.data()), bytes.size()},
                                           inputName(options.map));
  return carrying;
}

evolution::CarryOverResult carry(const Model& model, const MetaModels& target,
                                 const MigrateOptions& options) {
  try {
    return evolution::carryOver(model, target.registry(), carryOverOptions(options));
  } catch (const evolution::CarryOverRefused& refused) {
    tell(refused.getReport(), options);
    const std::size_t losses = refused.getDetails().problems.size();
    throw Error(ErrorCode::doesNotFit,
                {.file = inputName(options.input),
                 .problem = "carrying it over would lose something in " + std::to_string(losses) +
                            (losses == 1 ? " way" : " ways") +
                            ": say with --map what becomes of it, or allow it with --allow-loss"});
  } catch (...) {
    rethrowAsError({.file = inputName(options.input)});
  }
}

void migrateModel(const MigrateOptions& options) {
  if (options.input.empty() || options.output.empty())
    throw WrongCall("migrate: say which document to read and which to write (see kr0 migrate --help)");
  if (options.output == "-") throw WrongCall("migrate: OUT must be a file, whose name tells the format");
  ProgressBar progress;
  const MetaModels target(options.to);
  const Loaded loaded = load(options, progress);
  progress.startStep("carrying " + inputName(options.input) + " over");
  const evolution::CarryOverResult result = carry(loaded.model(), target, options);
  save(result.model, options.output, target, progress);
  tell(result.report, options);
}

void draft(const MigrateOptions& options) {
  if (!options.input.empty())
    throw WrongCall("migrate --draft-map: looks at meta models, and at no document");
  if (options.from.empty()) throw WrongCall("migrate --draft-map: give the old meta model with --from");
  const MetaModels from(options.from), to(options.to);
  const evolution::DraftMap drafted = evolution::draftMap(from.registry(), to.registry());
  std::string reasons;
  for (const evolution::Proposal& proposal : drafted.proposals)
    reasons += proposal.from + " -> " + proposal.to + ": " + proposal.reason + '\n';
  for (const std::string& name : drafted.unmatched) reasons += name + ": nothing like it found\n";
  const bool isFile = !options.draft.empty() && options.draft != "-";
  writeOutput(isFile ? options.draft : "-", toJson(drafted.map));
  if (!isFile) {
    std::cerr << reasons;
    return;
  }
  TextOut out;
  out << reasons;
  out.flush();
}

}  // namespace

void migrate(const MigrateOptions& options) { options.isDraft ? draft(options) : migrateModel(options); }

}  // namespace kr::zero::tool
