#include "io/files/TemporaryFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <random>

namespace kr::zero::io::internal {

namespace {

constexpr mode_t kPermissionBits = 0777;
constexpr unsigned kNumbers = 4;  // of temporary files of one target that are looked for

/// The same in every program that writes the same file.
std::uint64_t hashOf(const std::string& name) {
  std::uint64_t hash = 0xCBF29CE484222325u;  // FNV-1a
  for (const char character : name) hash = (hash ^ static_cast<unsigned char>(character)) * 0x100000001B3u;
  return hash;
}

std::string temporaryName(const std::string& target, std::uint64_t number) {
  char name[64];
  (void)std::snprintf(name, sizeof name, ".kr0-%016llx-%llx.tmp",
                      static_cast<unsigned long long>(hashOf(target)),
                      static_cast<unsigned long long>(number));
  return name;
}

bool lockAtOnce(const Descriptor& file) {
  return retryInterrupted([&] { return ::flock(file.get(), LOCK_EX | LOCK_NB); }) == 0;
}

/// While one lives, signals of this thread wait.
class SignalsHeld {
 public:
  SignalsHeld() {
    sigset_t all;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  ~SignalsHeld() { ::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalsHeld(const SignalsHeld&) = delete;
  SignalsHeld& operator=(const SignalsHeld&) = delete;

 private:
  sigset_t before_;
};

/// What is left for the new group of a file that could not keep its group: as much as everybody has.
mode_t withoutGroup(mode_t permissions) { return (permissions & ~070u) | (permissions & 007u) << 3; }

}  // namespace

TemporaryFile::~TemporaryFile() {
  if (isThere_) ::unlinkat(target_.folder.get(), name_.c_str(), 0);
}

bool TemporaryFile::isNameOf(const Descriptor& file, const std::string& name) const {
  Status open, named;
  return ::fstat(file.get(), &open) == 0 &&
         ::fstatat(target_.folder.get(), name.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0 &&
         isSameFile(open, named);
}

// Nobody else removes the file between the comparison and the removal: for that the lock is needed.
void TemporaryFile::removeStale(const std::string& name) const {
  const Descriptor left = openAt(target_.folder.get(), name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
  if (left.isOpen() && lockAtOnce(left) && isNameOf(left, name))
    ::unlinkat(target_.folder.get(), name.c_str(), 0);
}

/// @return 0, or the error; EEXIST where another name may do.
int TemporaryFile::attempt(const std::string& name, mode_t mode) {
  name_ = name;
  const SignalsHeld held;  // one that ends the program would leave a file that is not remembered yet
  file_ = openAt(target_.folder.get(), name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, mode);
  if (!file_.isOpen()) return errno;
  // Until it is locked another program may take it for a stale one. Some file systems know no locks, and
  // there nothing counts as stale.
  if ((!lockAtOnce(file_) && errno == EWOULDBLOCK) || !isNameOf(file_, name)) return EEXIST;
  isThere_ = true;
  lock_ = Descriptor(::fcntl(file_.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  if (!lock_.isOpen()) return errno;
  unfinished_.remember(target_.folder.get(), lock_.get(), name);
  return 0;
}

bool TemporaryFile::create(mode_t mode) {
  for (unsigned number = 0; number < kNumbers; ++number) removeStale(temporaryName(target_.name, number));
  int error = EEXIST;
  for (unsigned number = 0; error == EEXIST && number < kNumbers; ++number)
    error = attempt(temporaryName(target_.name, number), mode);
  // So many at once are hardly savers: somebody is in the way on purpose, and cannot guess this one.
  if (error == EEXIST)
    error = attempt(temporaryName(target_.name, std::uint64_t{std::random_device{}()} << 8), mode);
  errno = error;
  return error == 0;
}

bool TemporaryFile::takeAccessFrom(const Status& old) {
  // Few may give a file away; the others keep at least its group where it is one of their own. Where even
  // that is refused the file is theirs, as any file that they write.
  const bool hasGroup = ::fchown(file_.get(), old.st_uid, old.st_gid) == 0 ||
                        ::fchown(file_.get(), static_cast<uid_t>(-1), old.st_gid) == 0;
  const mode_t permissions = old.st_mode & kPermissionBits;
  return ::fchmod(file_.get(), hasGroup ? permissions : withoutGroup(permissions)) == 0;
}

bool TemporaryFile::replaceTarget() {
  const int folder = target_.folder.get();
  if (!file_.synchronise() || !file_.close() ||
      ::renameat(folder, name_.c_str(), folder, target_.name.c_str()) != 0)
    return false;
  isThere_ = false;
  unfinished_.forget();
  return true;
}

}  // namespace kr::zero::io::internal
