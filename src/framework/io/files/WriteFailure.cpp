// What is common to all systems about files that appear whole or not at all.
#include <exception>
#include <ios>
#include <stdexcept>
#include <string>

#include "kr/zero/Error.h"
#include "kr/zero/io/AtomicFile.h"
#include "kr/zero/io/ModelFile.h"

namespace kr::zero::io {

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

}  // namespace kr::zero::io
