#include <algorithm>
#include <optional>
#include <vector>

#include "Errors.h"
#include "Manner.h"
#include "Study.h"
#include "Visible.h"
#include "kr/zero/Validate.h"
#include "kr/zero/study/Digest.h"

namespace kr::zero::tool {

namespace {

// What can be said against a document.
enum class Kind { damaged, rule, bytes, unresolved };

std::string_view kindName(Kind kind) {
  constexpr std::string_view kNames[] = {"damaged", "rule", "bytes", "unresolved"};
  return kNames[static_cast<std::size_t>(kind)];
}

struct CheckFinding {
  Kind kind;
  std::string text;
  std::string place = {};  // path, or position in the file
};

std::string placeOf(const ErrorDetails& details) {
  std::string place = details.path;
  const auto add = [&place](const char* what, std::uint64_t number) {
    place += (place.empty() ? "" : ", ") + std::string(what) + std::to_string(number);
  };
  if (details.line) add("line ", *details.line);
  if (details.byteOffset) add("byte ", *details.byteOffset);
  return place;
}

// A document that cannot be read was not looked at; one that is no document was.
bool isAboutContent(const Error& error) {
  return error.getCode() == ErrorCode::foreign || error.getCode() == ErrorCode::damaged ||
         error.getCode() == ErrorCode::doesNotFit;
}

void addProblems(const Error& error, std::vector<CheckFinding>& findings) {
  const ErrorDetails& details = error.getDetails();
  findings.push_back({Kind::damaged, details.problem, placeOf(details)});
  for (std::size_t i = 1; i < details.problems.size(); ++i)
    findings.push_back({Kind::damaged, details.problems[i]});
}

void addViolations(const Model& model, std::vector<CheckFinding>& findings) {
  for (const Violation& violation : validate(model))
    findings.push_back({violation.rule == Rule::resolved ? Kind::unresolved : Kind::rule, violation.text,
                        violation.path + (violation.property.empty() ? "" : "." + violation.property)});
}

// --- Whether the document is what a writer would have made of its model

void compareBytes(std::string_view there, std::string_view written, std::vector<CheckFinding>& findings) {
  if (there == written) return;
  const auto first = std::mismatch(there.begin(), there.end(), written.begin(), written.end()).first;
  findings.push_back({Kind::bytes,
                      "it reads well, and kr0 would write it differently: " + std::to_string(written.size()) +
                          " bytes, not " + std::to_string(there.size()),
                      "byte " + std::to_string(first - there.begin())});
}

// Texts can say one thing in many ways, so of these formats only what they say is compared.
void compareContent(const Document& document, const LoadedDocument& loaded,
                    std::vector<CheckFinding>& findings) {
  ProgressBar progress;
  const std::string written = encodeModel(loaded.model, document.format, loaded.metaModels, progress);
  Document again{.name = document.name, .bytes = {written.begin(), written.end()}, .format = document.format};
  const Model model = readModel(again, loaded.metaModels, progress);
  if (const auto difference = findDifference(loaded.model, model))
    findings.push_back({Kind::bytes, "written again it would say something else: " + *difference});
}

void checkForm(const Document& document, const LoadedDocument& loaded, std::vector<CheckFinding>& findings) {
  const auto compare = [&](std::string_view there, Format format) {
    ProgressBar progress;
    compareBytes(there, encodeModel(loaded.model, format, loaded.metaModels, progress), findings);
  };
  switch (document.format) {
    case Format::krb:
    case Format::krt:
      return compare(document.text(), document.format);
    case Format::krz: {
      archive::ArchiveReader archive(document.asArchive(), {.bytes = document.limit});
      const std::vector<std::uint8_t> inner = archive.readDocument();
      return compare({reinterpret_cast<const char*>(inner.data()), inner.size()},
                     archive.getManifest().tagged ? Format::krt : Format::krb);
    }
    default:
      return compareContent(document, loaded, findings);
  }
}

std::vector<CheckFinding> findingsIn(const InputOptions& input) {
  std::vector<CheckFinding> findings;
  try {
    ProgressBar progress;
    const Document document = readDocument(input.path, formatNamed(input.from), progress, input.limit);
    const LoadedDocument loaded = readModel(document, input, progress);
    progress.startStep("checking " + document.name);
    addViolations(loaded.model, findings);
    checkForm(document, loaded, findings);
  } catch (const Error& error) {
    if (!isAboutContent(error) && error.getCode() != ErrorCode::inexpressible) throw;
    addProblems(error, findings);
  }
  return findings;
}

// --- Telling it

bool isWrong(const CheckFinding& finding, const CheckOptions& options) {
  return finding.kind != Kind::unresolved || options.strict;
}

void printLine(const std::string& file, const CheckFinding& finding, bool wrong, TextOut& out) {
  out << file << ": " << (wrong ? "" : "note: ") << asOneLine(finding.text);
  if (!finding.place.empty()) out << " (" << asOneLine(finding.place) << ')';
  out << '\n';
}

void printAsText(const std::string& file, const std::vector<CheckFinding>& findings,
                 const CheckOptions& options, bool ok, TextOut& out) {
  for (const CheckFinding& finding : findings) {
    const bool wrong = isWrong(finding, options);
    if (wrong || !manner().isQuiet) printLine(file, finding, wrong, out);
  }
  if (ok && !manner().isQuiet) out << file << ": ok\n";
}

void printAsJson(const std::string& file, const std::vector<CheckFinding>& findings,
                 const CheckOptions& options, bool ok, TextOut& out) {
  out << "{\"file\":" << inQuotes(file) << ",\"ok\":" << (ok ? "true" : "false") << ",\"findings\":[";
  const char* separator = "\n";
  for (const CheckFinding& finding : findings) {
    out << separator << "{\"kind\":" << inQuotes(kindName(finding.kind))
        << ",\"wrong\":" << (isWrong(finding, options) ? "true" : "false")
        << ",\"text\":" << inQuotes(finding.text) << ",\"place\":" << inQuotes(finding.place) << '}';
    separator = ",\n";
  }
  out << "]}\n";
}

}  // namespace

void check(const CheckOptions& options) {
  forEachInput(options.inputs, [&](const InputOptions& input, TextOut& out) {
    const std::vector<CheckFinding> findings = findingsIn(input);
    const bool ok = std::none_of(findings.begin(), findings.end(),
                                 [&](const CheckFinding& finding) { return isWrong(finding, options); });
    const std::string file = asName(inputName(input.path));
    (options.json ? printAsJson : printAsText)(file, findings, options, ok, out);
    if (!ok) throw AnsweredNo();
  });
}

void printDigests(const DigestOptions& options) {
  forEachInput(options.inputs, [](const InputOptions& input, TextOut& out) {
    const LoadedDocument loaded = loadDocument(input);
    out << study::digestOf(loaded.model).toText() << "  " << asName(input.path) << '\n';
  });
}

}  // namespace kr::zero::tool
