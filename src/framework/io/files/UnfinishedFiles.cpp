#include "io/files/UnfinishedFiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>

#include "kr/zero/io/AtomicFile.h"

namespace kr::zero::io {

namespace {

// A handler may run at any moment, so names lie in memory that is never freed, and a place says by its state
// whether its name is whole.
enum State : int { kFree, kTaken, kNamed };

constexpr std::size_t kNameBytes = 64;

struct Place {
  std::atomic<int> state{kFree};
  int folder = -1;
  int file = -1;
  char name[kNameBytes];
};

constexpr int kPlaces = 64;
Place places[kPlaces];

// Once a file has another name, or was removed, its name may be that of somebody else's.
bool isNameOfFile(const Place& place) noexcept {
  struct stat named, open;
  return ::fstatat(place.folder, place.name, &named, AT_SYMLINK_NOFOLLOW) == 0 &&
         ::fstat(place.file, &open) == 0 && named.st_dev == open.st_dev && named.st_ino == open.st_ino;
}

}  // namespace

void internal::UnfinishedFile::remember(int folder, int file, const std::string& name) noexcept {
  forget();
  if (name.size() >= kNameBytes) return;
  for (int i = 0; i < kPlaces; ++i) {
    int expected = kFree;
    if (!places[i].state.compare_exchange_strong(expected, kTaken)) continue;
    places[i].folder = folder;
    places[i].file = file;
    *std::copy(name.begin(), name.end(), places[i].name) = '\0';
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
    if (place.state == kNamed && isNameOfFile(place)) ::unlinkat(place.folder, place.name, 0);
}

}  // namespace kr::zero::io
