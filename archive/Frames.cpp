#include "Frames.h"

#include <limits>
#include <stdexcept>

namespace kr::zero::archive {

std::string littleEndian(std::uint64_t number, std::size_t bytes) {
  std::string text;
  for (std::size_t i = 0; i < bytes; ++i) text += static_cast<char>(number >> (8 * i) & 0xFF);
  return text;
}

std::uint64_t fromLittleEndian(std::string_view bytes) {
  std::uint64_t number = 0;
  for (std::size_t i = bytes.size(); i-- > 0;) number = number << 8 | static_cast<unsigned char>(bytes[i]);
  return number;
}

std::string frame(std::uint32_t magic, std::string_view content) {
  if (content.size() > std::numeric_limits<std::uint32_t>::max())
    throw std::length_error("a part of the archive has more than 4 GiB");
  return littleEndian(magic, kMagicBytes) + littleEndian(content.size(), kFrameHeadBytes - kMagicBytes) +
         std::string(content);
}

}  // namespace kr::zero::archive
