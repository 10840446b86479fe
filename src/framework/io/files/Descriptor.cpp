#include "io/files/Descriptor.h"

#include <poll.h>
#include <unistd.h>

#include <utility>

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

bool Descriptor::close() { return ::close(std::exchange(number_, -1)) == 0; }

}  // namespace kr::zero::io::internal
