// The way of Windows: its C library has descriptors too, in other words.
#include "io/files/Descriptor.h"

#include <fcntl.h>
#include <io.h>

#include <algorithm>
#include <utility>

namespace kr::zero::io::internal {

bool writeAll(int descriptor, std::string_view bytes) {
  constexpr std::size_t kPiece = std::size_t{1} << 30;  // a call takes what an int can count
  ::_setmode(descriptor, _O_BINARY);                    // or each line feed becomes two bytes
  while (!bytes.empty()) {
    const int written =
        ::_write(descriptor, bytes.data(), static_cast<unsigned>(std::min(bytes.size(), kPiece)));
    if (written <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

Descriptor::~Descriptor() {
  if (number_ >= 0) ::_close(number_);
}

bool Descriptor::synchronise() { return ::_commit(number_) == 0; }  // FlushFileBuffers of its handle

bool Descriptor::close() { return ::_close(std::exchange(number_, -1)) == 0; }

}  // namespace kr::zero::io::internal
