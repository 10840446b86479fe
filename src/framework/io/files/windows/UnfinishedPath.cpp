// The way of Windows: what ends a program is told to it in a thread of its own, so a lock is all that it
// takes.
#include "io/files/windows/UnfinishedPath.h"

#include <windows.h>

#include <array>
#include <mutex>

#include "kr/zero/io/AtomicFile.h"

namespace kr::zero::io {

namespace {

struct Places {
  std::mutex mutex;
  std::array<std::filesystem::path, 64> paths;
};

// Never destroyed, as files may be written while the process ends.
Places& places() {
  static Places& instance = *new Places;
  return instance;
}

}  // namespace

void internal::UnfinishedPath::remember(const std::filesystem::path& path) noexcept try {
  forget();
  Places& known = places();
  const std::lock_guard lock(known.mutex);
  for (std::size_t i = 0; i < known.paths.size(); ++i) {
    if (!known.paths[i].empty()) continue;
    known.paths[i] = path;
    place_ = static_cast<int>(i);
    return;
  }
} catch (...) {  // it is written all the same
}

void internal::UnfinishedPath::forget() noexcept {
  if (place_ < 0) return;
  Places& known = places();
  const std::lock_guard lock(known.mutex);
  known.paths[static_cast<std::size_t>(place_)].clear();
  place_ = -1;
}

void removeUnfinishedFiles() noexcept {
  Places& known = places();
  const std::lock_guard lock(known.mutex);
  for (const std::filesystem::path& path : known.paths)
    if (!path.empty()) ::DeleteFileW(path.c_str());
}

}  // namespace kr::zero::io
