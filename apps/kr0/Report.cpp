// kr0 report: what is in documents, as one page.
#include "Report.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <deque>
#include <optional>

#include "Compare.h"
#include "Errors.h"
#include "Files.h"
#include "Html.h"
#include "ReportDocument.h"
#include "ReportPage.h"
#include "ReportTables.h"

namespace kr::zero::tool {

namespace {

using compare::Difference;
using compare::DifferenceKind;
using compare::ModelDiff;

constexpr std::size_t kMostEdits = 100'000;

void writeEdit(const Difference& difference, const ReportSchema& schema, const ReportColumns& before,
               const ReportColumns& after, JsonText& json) {
  json.open('{');
  json.add("kind", compare::nameOf(difference.kind));
  json.add("before", before.numberOf(difference.before)).add("after", after.numberOf(difference.after));
  json.add("property", schema.numberOf(difference.property)).add("elements", difference.elements);
  json.add("pathBefore", difference.pathBefore).add("pathAfter", difference.pathAfter);
  json.add("valueBefore", difference.valueBefore).add("valueAfter", difference.valueAfter);
  json.add("sentence", difference.sentence());
  json.close('}');
}

void writeDifferences(const ModelDiff& diff, const ReportSchema& schema,
                      const std::deque<ReportDocument>& documents, JsonText& json) {
  std::array<std::size_t, kDifferenceKinds.size()> counts{};
  for (const Difference& difference : diff.differences()) ++counts[static_cast<std::size_t>(difference.kind)];
  json.open('{');
  json.name("counts").open('{');
  for (const DifferenceKind kind : kDifferenceKinds)
    json.add(compare::nameOf(kind), counts[static_cast<std::size_t>(kind)]);
  json.close('}');
  json.add("total", diff.differences().size());
  json.name("edits").open('[');
  const std::size_t shown = std::min(diff.differences().size(), kMostEdits);
  for (std::size_t i = 0; i < shown; ++i)
    writeEdit(diff.differences()[i], schema, documents[0].columns(), documents[1].columns(), json);
  json.close(']');
  json.close('}');
}

std::string asJson(const ReportSchema& schema, const std::deque<ReportDocument>& documents,
                   const ModelDiff* diff) {
  std::vector<bool> isUsed(schema.classes().size());
  for (const ReportDocument& document : documents)
    for (const ClassUsage& usage : document.usage()) isUsed[static_cast<std::size_t>(usage.type)] = true;
  JsonText json;
  json.open('{');
  json.add("report", 1).add("producer", "kr0 " KR0_VERSION);
  schema.write(isUsed, json);
  json.name("documents").open('[');
  for (const ReportDocument& document : documents) document.write(json);
  json.close(']');
  json.name("differences");
  if (diff != nullptr)
    writeDifferences(*diff, schema, documents, json);
  else
    json.addNull();
  json.close('}');
  return std::move(json).take();
}

std::string titleOf(const std::deque<ReportDocument>& documents) {
  std::string title;
  for (const ReportDocument& document : documents) title += (title.empty() ? "" : " and ") + document.name();
  return asHtml(title);
}

std::string targetOf(const ReportOptions& options) {
  if (!options.output.empty()) return options.output;
  if (::isatty(STDOUT_FILENO) != 0)
    throw WrongCall("a page is nothing for a terminal: say with -o where it goes");
  return "-";
}

}  // namespace

void report(const ReportOptions& options) {
  if (options.paths.size() > 2) throw WrongCall("report takes one document, or two to tell what differs");
  if (!options.json) requirePage();
  const std::string target = targetOf(options);
  const Versions versions = loadVersions(options.paths, options, Bytes::keep);
  ProgressBar progress;
  const ReportSchema schema(versions.metaModels);
  std::deque<ReportDocument> documents;
  for (std::size_t i = 0; i < versions.models.size(); ++i) {
    progress.startStep("looking at " + versions.documents[i].name);
    documents.emplace_back(versions.documents[i], versions.models[i], versions.metaModels, schema,
                           !options.withoutBytes);
  }
  std::optional<ModelDiff> diff;
  if (versions.models.size() == 2) {
    progress.startStep("comparing " + versions.documents[0].name + " and " + versions.documents[1].name);
    diff =
        compare::compareModels(versions.models[0], versions.models[1], compareOptions(versions.metaModels));
  }
  progress.startStep("writing " + (target == "-" ? "standard output" : target));
  const ModelDiff* const found = diff ? &*diff : nullptr;
  PageContent content{titleOf(documents), reportTables(schema, documents, found),
                      asJson(schema, documents, found)};
  if (options.json) return writeOutput(target, content.data + '\n');
  for (const ReportDocument& document : documents) content.bytes.push_back(document.shownBytes());
  writeOutput(target, fillPage(content));
}

}  // namespace kr::zero::tool
