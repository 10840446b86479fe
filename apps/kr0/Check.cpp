#include <algorithm>
#include <optional>
#include <vector>

#include "Errors.h"
#include "Findings.h"
#include "Manner.h"
#include "Study.h"
#include "Visible.h"
#include "kr/zero/study/Digest.h"

namespace kr::zero::tool {

namespace {

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
  findings.push_back({FindingKind::damaged, details.problem, placeOf(details)});
  for (std::size_t i = 1; i < details.problems.size(); ++i)
    findings.push_back({FindingKind::damaged, details.problems[i]});
}

std::vector<CheckFinding> findingsIn(const InputOptions& input) {
  std::vector<CheckFinding> findings;
  try {
    ProgressBar progress;
    const Document document = readDocument(input.path, formatNamed(input.from), progress, input.limit);
    const LoadedDocument loaded = readModel(document, input, progress);
    progress.startStep("checking " + document.name);
    Encodings encodings(loaded.model, loaded.metaModels);
    addFindings(document, loaded.model, loaded.metaModels, encodings, findings);
  } catch (const Error& error) {
    if (!isAboutContent(error) && error.getCode() != ErrorCode::inexpressible) throw;
    addProblems(error, findings);
  }
  return findings;
}

// --- Telling it

bool isWrong(const CheckFinding& finding, const CheckOptions& options) {
  return finding.kind != FindingKind::unresolved || options.strict;
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
    out << separator << "{\"kind\":" << inQuotes(nameOf(finding.kind))
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
