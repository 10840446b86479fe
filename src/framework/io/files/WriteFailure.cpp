// What is the same on every system: files in one go, and failures to write as the library's errors.
#include <ios>
#include <stdexcept>
#include <string>

#include "io/files/Descriptor.h"
#include "io/files/IoFailure.h"
#include "kr/zero/io/AtomicFile.h"
#include "kr/zero/io/ModelFile.h"

namespace kr::zero::io {

namespace {
constexpr int kStandardOutput = 1;
}

void writeFileAtomically(const std::filesystem::path& path, std::string_view bytes) {
  AtomicFile file(path);
  file.write(bytes);
  file.commit();
}

void rethrowWriteFailure(const std::string& name) {
  try {
    throw;
  } catch (const std::ios_base::failure& failure) {
    // The file's name once.
    const std::string named = "cannot write \"" + name + "\": ";
    std::string problem = failure.what();
    if (problem.starts_with(named)) problem = "cannot be written, " + problem.substr(named.size());
    std::throw_with_nested(zero::Error(ErrorCode::unwritable, {.file = name, .problem = problem}));
  } catch (const std::invalid_argument&) {
    rethrowAsError({.file = name}, ErrorCode::misuse);
  } catch (...) {
    rethrowAsError({.file = name});
  }
}

void writeToDescriptor(int descriptor, std::string_view bytes) {
  if (internal::writeAll(descriptor, bytes)) return;
  const int error = errno;
  const bool isStandard = descriptor == kStandardOutput;
  const std::string name = isStandard ? "standard output" : "descriptor " + std::to_string(descriptor);
  internal::throwIoFailure("cannot write " + name, error);
}

}  // namespace kr::zero::io
