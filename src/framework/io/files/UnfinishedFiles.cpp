#include "io/files/UnfinishedFiles.h"

#include <limits.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>

#include "kr/zero/io/AtomicFile.h"

namespace kr::zero::io {

namespace {

// A handler may run at any moment, so names lie in memory that is never freed, and a place says by its state
// whether its name is whole.
enum State : int { kFree, kTaken, kNamed };

struct Place {
  std::atomic<int> state{kFree};
  char path[PATH_MAX];
};

constexpr int kPlaces = 64;
Place places[kPlaces];

}  // namespace

void internal::UnfinishedFile::remember(const std::string& path) noexcept {
  forget();
  if (path.size() >= PATH_MAX) return;
  for (int i = 0; i < kPlaces; ++i) {
    int expected = kFree;
    if (!places[i].state.compare_exchange_strong(expected, kTaken)) continue;
    *std::copy(path.begin(), path.end(), places[i].path) = '\0';
    places[i].state = kNamed;
    place_ = i;
    return;
  }
}

void internal::UnfinishedFile::forget() noexcept {
  if (place_ < 0) return;
  places[place_].state = kFree;
  place_ = -1;
}

void removeUnfinishedFiles() noexcept {
  for (const Place& place : places)
    if (place.state == kNamed) ::unlink(place.path);
}

}  // namespace kr::zero::io
