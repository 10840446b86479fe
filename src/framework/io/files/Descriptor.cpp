#include "io/files/Descriptor.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

namespace kr::zero::io::internal {

namespace {

// A pipe or socket may have been told not to wait, by whoever else has it open.
bool waitUntilWritable(int descriptor) {
  pollfd waiting{descriptor, POLLOUT, 0};
  return retryInterrupted([&] { return ::poll(&waiting, 1, -1); }) == 1;
}

bool isFull(ssize_t written) { return written < 0 && (errno == EAGAIN || errno == EWOULDBLOCK); }

}  // namespace

bool writeAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = retryInterrupted([&] { return ::write(descriptor, bytes.data(), bytes.size()); });
    if (written > 0)
      bytes.remove_prefix(static_cast<std::size_t>(written));
    else if (!isFull(written) || !waitUntilWritable(descriptor))
      return false;
  }
  return true;
}

Descriptor::~Descriptor() {
  if (number_ >= 0) ::close(number_);
}

bool Descriptor::synchronise() {
  return retryInterrupted([this] { return ::fsync(number_); }) == 0;
}

// A signal that comes between has let it be closed all the same.
bool Descriptor::close() { return ::close(std::exchange(number_, -1)) == 0 || errno == EINTR; }

// Where a standard stream is closed its number is free, and whoever then writes to the stream must not write
// into our file.
Descriptor openAt(int folder, const std::string& path, int flags, unsigned mode) {
  Descriptor file(retryInterrupted([&] { return ::openat(folder, path.c_str(), flags | O_CLOEXEC, mode); }));
  if (!file.isOpen() || file.get() > STDERR_FILENO) return file;
  return Descriptor(::fcntl(file.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

}  // namespace kr::zero::io::internal
