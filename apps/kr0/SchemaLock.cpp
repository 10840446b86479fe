#include <algorithm>
#include <filesystem>

#include "Commands.h"
#include "Errors.h"
#include "Files.h"
#include "Visible.h"
#include "kr/zero/evolution/Lock.h"

namespace kr::zero::tool {

namespace {

using evolution::Lock;
using evolution::LockFinding;

std::string readText(const std::string& path) {
  const std::vector<std::uint8_t> bytes = readInput(path);
  return std::string(bytes.begin(), bytes.end());
}

bool isError(const LockFinding& finding) { return finding.isError; }

void print(const std::vector<LockFinding>& findings, bool withNotices) {
  TextOut out;
  for (const LockFinding& finding : findings)
    if (finding.isError || withNotices)
      out << (finding.isError ? "error: " : "notice: ") << asOneLine(finding.sentence) << '\n';
  out.flush();
}

/// What is in the way of writing a lock file.
void requireAgreement(const Lock& lock, const MetaModels& metaModels, const std::string& path) {
  const auto findings = lock.check(metaModels.registry());
  if (std::none_of(findings.begin(), findings.end(), isError)) return;
  print(findings, false);
  throw Error(ErrorCode::badMetaModel,
              {.file = path,
               .problem = "is left as it was, because numbers changed their meaning; --accept writes it"});
}

}  // namespace

void lockSchema(const SchemaLockOptions& options) {
  const MetaModels metaModels(options);
  std::string before;
  Lock lock;
  std::error_code missing;
  if (options.lock != "-" && std::filesystem::exists(options.lock, missing)) {
    before = readText(options.lock);
    lock = Lock::parse(before, options.lock);
    if (!options.accept) requireAgreement(lock, metaModels, options.lock);
  }
  lock.update(metaModels.registry());
  if (const std::string text = lock.write(); text != before) writeOutput(options.lock, text);
}

void checkSchema(const SchemaLockOptions& options) {
  const MetaModels metaModels(options);
  const Lock lock = Lock::parse(readText(options.lock), inputName(options.lock));
  const auto findings = lock.check(metaModels.registry());
  print(findings, true);
  if (std::any_of(findings.begin(), findings.end(), isError)) throw AnsweredNo();
}

}  // namespace kr::zero::tool
