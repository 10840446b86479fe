#include "ReportDocument.h"

#include <algorithm>
#include <filesystem>

#include "Facts.h"
#include "Figures.h"
#include "kr/zero/ElementPath.h"
#include "kr/zero/io/DocumentBytes.h"
#include "kr/zero/study/Statistics.h"

namespace kr::zero::tool {

namespace {

constexpr std::size_t kMostTold = 10'000;

std::string countedBytes(std::uint64_t bytes) { return counted(bytes, "byte", "bytes"); }

std::string wordsOf(const study::ReferenceStatistics& references) {
  return std::to_string(references.resolved) + " in the document, " + std::to_string(references.outside) +
         " into others, " + std::to_string(references.unresolved) + " to what is not there";
}

ClassUsage usageOf(const study::TypeStatistics& counted, const io::TypeBytes& measured,
                   const ReportSchema& schema) {
  ClassUsage usage{
      schema.numberOf(meta::Type(counted.type)), counted.instances, measured.total(), measured.own, {}};
  for (const study::PropertyStatistics& property : counted.properties)
    usage.properties.push_back({schema.numberOf(property.property), property.set, property.values,
                                bytesOf(property.property, measured)});
  return usage;
}

}  // namespace

ReportDocument::ReportDocument(const Document& document, const Model& model, const MetaModels& metaModels,
                               const ReportSchema& schema, bool withBytes)
    : schema_(schema),
      columns_(model, schema),
      encodings_(model, metaModels),
      name_(std::filesystem::path(document.name).filename().string()),
      format_(document.format),
      fileBytes_(document.packing == archive::Packing::none ? document.text().size() : document.packedBytes) {
  const bool isThere = !document.text().empty();  // an empty file is a document without elements
  if (isThere) addFacts(document);
  addFigures(model);
  if (isThere) addProblems(document, model, metaModels);
  addSizes();
  if (withBytes)
    showBytes(document, metaModels);
  else
    facts_.emplace_back("bytes", "left out of this report");
}

void ReportDocument::addFacts(const Document& document) {
  isOwn_ = format_ == Format::krb || format_ == Format::krt;
  if (format_ == Format::krt) shownFormat_ = Format::krt;
  if (const std::string version = versionOf(document); !version.empty())
    facts_.emplace_back("version", version);
  if (document.packing != archive::Packing::none)
    facts_.emplace_back("packed", std::string(nameOf(document.packing)) + ", unpacked " +
                                      countedBytes(document.text().size()));
  if (format_ != Format::krz) return;
  const archive::ArchiveReader reader(document.asArchive(), {.bytes = document.limit});
  const archive::Manifest& manifest = reader.getManifest();
  isOwn_ = true;
  shownFormat_ = manifest.tagged ? Format::krt : Format::krb;
  facts_.emplace_back("document inside",
                      std::string(nameOf(shownFormat_)) + ", " + countedBytes(manifest.bytes));
  facts_.emplace_back("meta model inside",
                      counted(manifest.files.size(), "file, ", "files, ") + countedBytes(manifest.metaBytes));
}

void ReportDocument::addFigures(const Model& model) {
  const study::Statistics figures = study::gatherStatistics(model, 0);
  facts_.emplace_back("elements", counted(figures.elements, "element, ", "elements, ") +
                                      counted(figures.roots, "root, ", "roots, ") +
                                      counted(figures.depths.size(), "level", "levels"));
  facts_.emplace_back("references", wordsOf(figures.references));
  facts_.emplace_back("texts", counted(figures.texts.count, "text of ", "texts of ") +
                                   countedBytes(figures.texts.bytes) + ", " +
                                   std::to_string(figures.texts.different) + " different");
  const io::DocumentBytes bytes =
      shownFormat_ == Format::krt ? io::measureTagged(model) : io::measureDirect(model);
  overhead_ = bytes.frame;
  std::vector<const io::TypeBytes*> byType(schema_.classes().size());
  for (const io::TypeBytes& type : bytes.types)
    byType[static_cast<std::size_t>(schema_.numberOf(meta::Type(type.type)))] = &type;
  for (const study::TypeStatistics& type : figures.types)
    if (const auto* measured = byType[static_cast<std::size_t>(schema_.numberOf(meta::Type(type.type)))])
      usage_.push_back(usageOf(type, *measured, schema_));
  facts_.emplace_back("bytes of classes", std::string(isOwn_ ? "those of " : "those that it would have as ") +
                                              std::string(nameOf(shownFormat_)) + ", " +
                                              countedBytes(bytes.total()));
}

void ReportDocument::addProblems(const Document& document, const Model& model, const MetaModels& metaModels) {
  std::vector<CheckFinding> findings;
  try {
    addFindings(document, model, metaModels, encodings_, findings);
  } catch (const Error& error) {
    if (error.getCode() != ErrorCode::inexpressible) throw;
    findings.push_back({FindingKind::rule, error.getDetails().problem, error.getDetails().path});
  }
  problemCount_ = findings.size();
  findings.resize(std::min(findings.size(), kMostTold), CheckFinding{FindingKind::rule, {}});
  for (CheckFinding& finding : findings) {
    const int element = finding.path.empty() ? -1 : columns_.numberOf(findElement(model, finding.path));
    problems_.push_back({std::move(finding), element});
  }
}

void ReportDocument::addSizes() {
  for (const Format format : {Format::xmi, Format::krb, Format::krt, Format::krz}) {
    try {
      sizes_.emplace_back(nameOf(format), encodings_.as(format).size());
    } catch (const Error& error) {
      if (error.getCode() != ErrorCode::inexpressible) throw;
    }
  }
}

void ReportDocument::showBytes(const Document& document, const MetaModels& metaModels) {
  if (isOwn_ && format_ == Format::krz) {
    archive::ArchiveReader reader(document.asArchive(), {.bytes = document.limit});
    inner_ = reader.readDocument();
    shown_ = {reinterpret_cast<const char*>(inner_.data()), inner_.size()};
  } else {
    shown_ = isOwn_ ? document.text() : std::string_view(encodings_.as(shownFormat_));
  }
  notes_.emplace(shown_, shownFormat_ == Format::krt, metaModels.registry(), columns_, schema_);
  if (notes_->isInOrder()) return;
  notes_.reset();
  facts_.emplace_back(
      "bytes", "not shown: they hold the elements in another order than the model, or by another meta model");
}

std::optional<std::string_view> ReportDocument::shownBytes() const {
  return notes_ ? std::optional(shown_) : std::nullopt;
}

// --- As JSON

void ReportDocument::writeUsage(JsonText& json) const {
  json.name("usage").open('[');
  for (const ClassUsage& usage : usage_) {
    json.open('{');
    json.add("class", usage.type).add("instances", usage.instances).add("bytes", usage.bytes);
    json.add("own", usage.own).name("properties").open('[');
    for (const PropertyUsage& property : usage.properties) {
      json.open('{');
      json.add("property", property.property).add("set", property.set);
      json.add("values", property.values).add("bytes", property.bytes);
      json.close('}');
    }
    json.close(']');
    json.close('}');
  }
  json.close(']');
}

void ReportDocument::writeProblems(JsonText& json) const {
  json.name("problems").open('[');
  for (const auto& [finding, element] : problems_) {
    json.open('{');
    json.add("kind", nameOf(finding.kind)).add("text", finding.text).add("place", finding.place);
    json.add("element", element).add("wrong", finding.kind != FindingKind::unresolved);
    json.close('}');
  }
  json.close(']');
}

void ReportDocument::write(JsonText& json) const {
  json.open('{');
  json.add("name", name_).add("format", nameOf(format_)).add("bytes", fileBytes_);
  json.name("facts").open('[');
  for (const auto& [name, value] : facts_) {
    json.open('[');
    json.add(name);
    json.add(value);
    json.close(']');
  }
  json.close(']');
  json.name("sizes").open('[');
  for (const auto& [format, bytes] : sizes_) {
    json.open('{');
    json.add("format", format).add("bytes", bytes);
    json.close('}');
  }
  json.close(']');
  writeProblems(json);
  json.add("problemCount", problemCount_);
  writeUsage(json);
  json.add("overhead", overhead_);
  columns_.write(json);
  json.name("shown");
  if (notes_) {
    json.open('{');
    json.add("format", nameOf(shownFormat_)).add("own", isOwn_);
    notes_->write(json);
    json.close('}');
  } else {
    json.addNull();
  }
  json.close('}');
}

}  // namespace kr::zero::tool
