#include "Findings.h"

#include <algorithm>

#include "kr/zero/Validate.h"

namespace kr::zero::tool {

namespace {

void addViolations(const Model& model, std::vector<CheckFinding>& findings) {
  for (Violation& violation : validate(model)) {
    std::string place = violation.path + (violation.property.empty() ? "" : "." + violation.property);
    findings.push_back({violation.rule == Rule::resolved ? FindingKind::unresolved : FindingKind::rule,
                        std::move(violation.text), std::move(place), std::move(violation.path)});
  }
}

// --- Whether the document is what a writer would have made of its model

void compareBytes(std::string_view there, std::string_view written, std::vector<CheckFinding>& findings) {
  if (there == written) return;
  const auto first = std::mismatch(there.begin(), there.end(), written.begin(), written.end()).first;
  findings.push_back({FindingKind::bytes,
                      "it reads well, and kr0 would write it differently: " + std::to_string(written.size()) +
                          " bytes, not " + std::to_string(there.size()),
                      "byte " + std::to_string(first - there.begin())});
}

// Texts can say one thing in many ways, so of these formats only what they say is compared.
void compareContent(const Document& document, const Model& model, const MetaModels& metaModels,
                    std::string_view written, std::vector<CheckFinding>& findings) {
  ProgressBar progress;
  const Document again{
      .name = document.name, .bytes = {written.begin(), written.end()}, .format = document.format};
  const Model copy = readModel(again, metaModels, progress);
  if (const auto difference = findDifference(model, copy))
    findings.push_back({FindingKind::bytes, "written again it would say something else: " + *difference});
}

void checkForm(const Document& document, const Model& model, const MetaModels& metaModels,
               Encodings& encodings, std::vector<CheckFinding>& findings) {
  switch (document.format) {
    case Format::krb:
    case Format::krt:
      return compareBytes(document.text(), encodings.as(document.format), findings);
    case Format::krz: {
      archive::ArchiveReader archive(document.asArchive(), {.bytes = document.limit});
      const std::vector<std::uint8_t> inner = archive.readDocument();
      const Format format = archive.getManifest().tagged ? Format::krt : Format::krb;
      return compareBytes({reinterpret_cast<const char*>(inner.data()), inner.size()}, encodings.as(format),
                          findings);
    }
    default:
      return compareContent(document, model, metaModels, encodings.as(document.format), findings);
  }
}

}  // namespace

std::string_view nameOf(FindingKind kind) {
  constexpr std::string_view kNames[] = {"damaged", "rule", "bytes", "unresolved"};
  return kNames[static_cast<std::size_t>(kind)];
}

const std::string& Encodings::as(Format format) {
  const auto found = written_.find(format);
  if (found != written_.end()) return found->second;
  ProgressBar progress;
  return written_.emplace(format, encodeModel(model_, format, metaModels_, progress)).first->second;
}

void addFindings(const Document& document, const Model& model, const MetaModels& metaModels,
                 Encodings& encodings, std::vector<CheckFinding>& findings) {
  addViolations(model, findings);
  checkForm(document, model, metaModels, encodings, findings);
}

}  // namespace kr::zero::tool
