#include <filesystem>
#include <iostream>

#include "Commands.h"
#include "Errors.h"
#include "Files.h"
#include "Visible.h"
#include "kr/zero/evolution/CarryOver.h"
#include "kr/zero/evolution/DraftMap.h"

namespace kr::zero::tool {

namespace {

using evolution::CarryOverReport;
using evolution::Finding;

LoadedDocument load(const InputOptions& input, ProgressBar& progress) {
  const Document document = readDocument(input.path, std::nullopt, progress, input.limit);
  if (document.format != Format::krz && !hasMetaModels(document, input))
    throw WrongCall(document.name +
                    ": only archives bring their meta model, give that of other documents with --from");
  return readModel(document, input, progress);
}

MetaModels loadTarget(const MigrateOptions& options) {
  ReadOptions reading = options.input;
  reading.metaModels = options.to;
  return MetaModels(reading);
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
                {.file = inputName(options.input.path),
                 .problem = "carrying it over would lose something in " + std::to_string(losses) +
                            (losses == 1 ? " way" : " ways") +
                            ": say with --map what becomes of it, or allow it with --allow-loss"});
  } catch (...) {
    rethrowAsError({.file = inputName(options.input.path)});
  }
}

void migrateModel(const MigrateOptions& options) {
  if (options.input.path.empty() || options.output.empty())
    throw WrongCall("migrate: say which document to read and which to write (see kr0 migrate --help)");
  if (options.output == "-") throw WrongCall("migrate: OUT must be a file, whose name tells the format");
  const Format format = outputFormat(options.output);
  ProgressBar progress;
  const MetaModels target = loadTarget(options);
  const LoadedDocument loaded = load(options.input, progress);
  progress.startStep("carrying " + inputName(options.input.path) + " over");
  const evolution::CarryOverResult result = carry(loaded.model, target, options);
  writeModel(result.model, options.output, format, target, progress);
  tell(result.report, options);
}

void draft(const MigrateOptions& options) {
  if (!options.input.path.empty())
    throw WrongCall("migrate --draft-map: looks at meta models, and at no document");
  if (options.input.metaModels.empty())
    throw WrongCall("migrate --draft-map: give the old meta model with --from");
  const MetaModels from(options.input), to = loadTarget(options);
  const evolution::DraftMap drafted = evolution::draftMap(from.registry(), to.registry());
  std::string reasons;
  for (const evolution::Proposal& proposal : drafted.proposals)
    reasons += proposal.from + " -> " + proposal.to + ": " + proposal.reason + '\n';
  for (const std::string& name : drafted.unmatched) reasons += name + ": nothing like it found\n";
  const bool isFile = !options.draft.empty() && options.draft != "-";
  writeOutput(isFile ? options.draft : "-", toJson(drafted.map));
  std::string shown;
  TextOut text = isFile ? TextOut() : TextOut(shown);
  text << reasons;
  text.flush();
  if (!isFile) std::cerr << shown;
}

}  // namespace

void migrate(const MigrateOptions& options) { options.isDraft ? draft(options) : migrateModel(options); }

}  // namespace kr::zero::tool
