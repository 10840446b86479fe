// kr0 merge: one document of two versions of a third.
#include "kr/zero/compare/Merge.h"

#include "Compare.h"
#include "Errors.h"
#include "Files.h"
#include "Visible.h"

namespace kr::zero::tool {

namespace {

using compare::Conflict;

// A name that tells no format, as git's temporary ones, gets that of ours.
Format outputFormatOf(const std::string& output, const Document& ours) {
  const std::size_t name = output.find_last_of('/') + 1;
  if (output.find('.', name == output.size() ? name : name + 1) == std::string::npos) return ours.format;
  return outputFormat(output);
}

void printText(const std::vector<Conflict>& conflicts) {
  TextOut out;
  for (const Conflict& conflict : conflicts) out << "conflict: " << conflict.sentence() << '\n';
  out.flush();
}

void printJson(const std::vector<Conflict>& conflicts) {
  TextOut out;
  out << "{\n  \"conflicts\": [";
  for (std::size_t i = 0; i < conflicts.size(); ++i) {
    const Conflict& conflict = conflicts[i];
    out << (i == 0 ? "\n" : ",\n") << "    {\"kind\": " << inQuotes(compare::nameOf(conflict.kind))
        << ", \"path\": " << inQuotes(conflict.path) << ", \"property\": " << inQuotes(conflict.property)
        << ", \"base\": " << inQuotes(conflict.base) << ", \"ours\": " << inQuotes(conflict.ours)
        << ", \"theirs\": " << inQuotes(conflict.theirs) << '}';
  }
  out << (conflicts.empty() ? "]\n}\n" : "\n  ]\n}\n");
  out.flush();
}

void mergeThree(const MergeOptions& options) {
  Versions versions = loadVersions({options.base, options.ours, options.theirs}, options);
  const Document& ours = versions.documents[1];
  const Format format = outputFormatOf(options.output, ours);
  const compare::MergeResult result = compare::mergeModels(
      versions.models[0], versions.models[1], versions.models[2], compareOptions(versions.metaModels));
  {
    ProgressBar progress;
    WriteOptions writing;
    if (archive::packingOfName(options.output) == archive::Packing::none) writing.packing = ours.packing;
    writeModel(result.model, options.output, format, versions.metaModels, progress, writing);
  }
  if (options.json)
    printJson(result.conflicts);
  else
    printText(result.conflicts);
  if (!result.conflicts.empty()) throw AnsweredNo();
}

}  // namespace

void merge(const MergeOptions& options) {
  withTroubleAs2([&] { mergeThree(options); });
}

}  // namespace kr::zero::tool
