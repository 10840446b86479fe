/// @file
/// How much memory reading and writing touch on the way, over what they leave behind.
#pragma once

#include <cstddef>
#include <optional>

namespace kr::zero::bench {

/// One document written and read: seconds, and resident bytes over those before the operation, which had been
/// given back as far as malloc does.
struct Peak {
  std::size_t document;   ///< its bytes
  std::size_t writing;    ///< beyond the caller's vector
  std::size_t reading;    ///< of a file: its bytes, the model and what else there was
  std::size_t model;      ///< that the file became
  double writingSeconds;  ///< into the vector
  double readingSeconds;  ///< from the file
};

/// For the benchmark's library. To be called before any large memory was freed: malloc keeps what it once
/// had, and would give of that.
/// @return nothing where the system does not tell a process its peak, or forget it (Linux: /proc/self).
/// @throws std::runtime_error where the temporary file cannot be written, or what was read is of another
/// size.
std::optional<Peak> measurePeak(std::size_t elements);

}  // namespace kr::zero::bench
