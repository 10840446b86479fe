// Put before the system's library (LD_PRELOAD), this lets one of a program's calls go wrong, so that a test
// can go through all of them. It is told by the environment:
//
//   KR0_FAULT_CALL    which calls count: "malloc", "read", "write", "open", "fsync", "close", "rename",
//   "access"
//                     (fchmod, fchown, flock), or "file" for all but malloc and read
//   KR0_FAULT_SIZE    the fewest bytes for which a malloc counts
//   KR0_FAULT_AT      the number of the call that goes wrong, from 1
//   KR0_FAULT_ERROR   the errno with which it fails, or
//   KR0_FAULT_SIGNAL  the signal that the program gets just before it, or
//   KR0_FAULT_SHORT   how many bytes at most it writes or reads
//   KR0_FAULT_REST    set: all calls from there on
//   KR0_FAULT_HIT     a file that is made when it happens
//   KR0_FAULT_COUNT   a file in which stands in the end how many calls there were
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <iterator>

namespace {

struct Plan {
  const char* call = "";
  const char* hit = nullptr;
  long at = 0;
  int error = 0;
  int signal = 0;
  std::size_t shortest = 0;
  std::size_t size = 0;
  bool rest = false;
};

Plan plan;
std::atomic<long> calls{0};

long numberOf(const char* name) {
  const char* const text = std::getenv(name);
  return text == nullptr ? 0 : std::atol(text);
}

[[gnu::constructor(101)]] void readPlan() {
  if (const char* const call = std::getenv("KR0_FAULT_CALL")) plan.call = call;
  plan.hit = std::getenv("KR0_FAULT_HIT");
  plan.error = static_cast<int>(numberOf("KR0_FAULT_ERROR"));
  plan.signal = static_cast<int>(numberOf("KR0_FAULT_SIGNAL"));
  plan.shortest = static_cast<std::size_t>(numberOf("KR0_FAULT_SHORT"));
  plan.size = static_cast<std::size_t>(numberOf("KR0_FAULT_SIZE"));
  plan.rest = std::getenv("KR0_FAULT_REST") != nullptr;
  plan.at = numberOf("KR0_FAULT_AT");  // from here on it counts
}

[[gnu::destructor]] void tellCount() {
  const char* const path = std::getenv("KR0_FAULT_COUNT");
  if (path == nullptr) return;
  char digits[24];
  char* first = std::end(digits);
  for (long rest = calls; rest != 0; rest /= 10) *--first = static_cast<char>('0' + rest % 10);
  const long file = syscall(SYS_openat, AT_FDCWD, path, O_CREAT | O_WRONLY | O_TRUNC, 0600);
  syscall(SYS_write, file, first, std::end(digits) - first);
  syscall(SYS_close, file);
}

bool counts(const char* call) {
  if (std::strcmp(plan.call, call) == 0) return true;
  return std::strcmp(plan.call, "file") == 0 && std::strcmp(call, "malloc") != 0 &&
         std::strcmp(call, "read") != 0;
}

/// Whether this call is the one. The signal is sent here.
bool isMeant(const char* call) {
  if (plan.at == 0 || !counts(call)) return false;
  const long number = ++calls;
  if (number < plan.at || (number > plan.at && !plan.rest)) return false;
  if (plan.hit != nullptr) {
    const long file = syscall(SYS_openat, AT_FDCWD, plan.hit, O_CREAT | O_WRONLY, 0600);
    syscall(SYS_close, file);
  }
  if (plan.signal != 0) syscall(SYS_tgkill, syscall(SYS_getpid), syscall(SYS_gettid), plan.signal);
  return true;
}

bool fails(const char* call) {
  if (!isMeant(call) || plan.error == 0) return false;
  errno = plan.error;
  return true;
}

bool lacks(std::size_t size) { return size >= plan.size && fails("malloc"); }

}  // namespace

// The names are the system's.
extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);

void* malloc(std::size_t size) { return lacks(size) ? nullptr : __libc_malloc(size); }
void* calloc(std::size_t count, std::size_t size) {
  return lacks(count * size) ? nullptr : __libc_calloc(count, size);
}
void* realloc(void* memory, std::size_t size) { return lacks(size) ? nullptr : __libc_realloc(memory, size); }

ssize_t write(int file, const void* bytes, std::size_t size) {
  const bool meant = isMeant("write");
  if (meant && plan.error != 0) {
    errno = plan.error;
    return -1;
  }
  if (meant && plan.shortest != 0) size = std::min(size, plan.shortest);
  return syscall(SYS_write, file, bytes, size);
}

ssize_t read(int file, void* bytes, std::size_t size) {
  const bool meant = isMeant("read");
  if (meant && plan.error != 0) {
    errno = plan.error;
    return -1;
  }
  if (meant && plan.shortest != 0) size = std::min(size, plan.shortest);
  return syscall(SYS_read, file, bytes, size);
}

static int openAs(int folder, const char* path, int flags, va_list rest) {
  const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(rest, mode_t) : 0;
  return fails("open") ? -1 : static_cast<int>(syscall(SYS_openat, folder, path, flags, mode));
}

int open(const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const int file = openAs(AT_FDCWD, path, flags, rest);
  va_end(rest);
  return file;
}

int openat(int folder, const char* path, int flags, ...) {
  va_list rest;
  va_start(rest, flags);
  const int file = openAs(folder, path, flags, rest);
  va_end(rest);
  return file;
}

int fsync(int file) { return fails("fsync") ? -1 : static_cast<int>(syscall(SYS_fsync, file)); }

// A close that fails has closed all the same.
int close(int file) {
  const bool meant = isMeant("close");
  const long result = syscall(SYS_close, file);
  if (!meant || plan.error == 0) return static_cast<int>(result);
  errno = plan.error;
  return -1;
}

int renameat(int from, const char* old, int to, const char* target) noexcept {
  return fails("rename") ? -1 : static_cast<int>(syscall(SYS_renameat2, from, old, to, target, 0));
}
int fchmod(int file, mode_t mode) noexcept {
  return fails("access") ? -1 : static_cast<int>(syscall(SYS_fchmod, file, mode));
}
int fchown(int file, uid_t owner, gid_t group) noexcept {
  return fails("access") ? -1 : static_cast<int>(syscall(SYS_fchown, file, owner, group));
}
#pragma GCC diagnostic ignored "-Wshadow"  // a struct has this name too
int flock(int file, int operation) noexcept {
  return fails("access") ? -1 : static_cast<int>(syscall(SYS_flock, file, operation));
}
}
