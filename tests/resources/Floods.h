/// @file
/// Documents of any size that ask a reader for as much as their bytes allow.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace kr::zero::test {

/// A document, and the bytes that its bounds count.
struct Flooded {
  std::string document;
  std::size_t bytes = 0;  ///< what it unpacks to, or its own size
};

struct Flood {
  std::string reader;  ///< as docs/security.md names it
  std::string name;
  std::function<Flooded(std::size_t bytes)> make;  ///< of about that many bytes
  /// Reads a document, whether it is taken or refused with an Error.
  std::function<void(const std::string& document)> read;
  bool isRefused = false;
};

const std::vector<Flood>& floods();

}  // namespace kr::zero::test
