/// @file
/// Internal: XXH3, whose figures are the same on every machine.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

struct XXH3_state_s;

namespace kr::zero::archive {

/// XXH3-128 of bytes that come in pieces.
class Hasher {
 public:
  Hasher();

  void add(std::string_view bytes);
  /// Of all bytes so far: 32 hexadecimal digits, the high ones first.
  std::string digits() const;

 private:
  struct Free {
    void operator()(XXH3_state_s* state) const;
  };
  std::unique_ptr<XXH3_state_s, Free> state_;
};

/// The same of bytes that are all there.
std::string hashOf(std::string_view bytes);

/// XXH3-64.
std::uint64_t checksumOf(std::string_view bytes);

}  // namespace kr::zero::archive
