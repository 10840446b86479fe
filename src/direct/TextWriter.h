/// @file
/// Internal: texts as the direct format has them, a length and UTF-8.
#pragma once

#include <string>
#include <string_view>

#include "values/ByteBuffer.h"

namespace kr::zero::io {

/// Appends texts; ASCII goes straight into the buffer, without a string between.
class TextWriter {
 public:
  /// @throws Error<kr0::io::CannotSerialize> for a surrogate that stands alone; nothing is appended then.
  void append(values::ByteBuffer& out, std::u16string_view text);

 private:
  std::string utf8_;  // used again and again
};

}  // namespace kr::zero::io
