/// @file
/// Documents of any size that ask a reader for as much memory or time as their bytes allow.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "support/DirectBytes.h"
#include "support/Outcome.h"

namespace kr::zero::test {

struct Generator {
  std::string name;
  std::function<Bytes(std::size_t count)> make;  ///< `count` of what the name says; of goldenRegistry()
  Ending ending;                                 ///< how reading it ends
};

/// Documents whose work should grow as their bytes do.
const std::vector<Generator>& generators();

/// `count` different texts of 16 ASCII characters that std::hash cannot tell apart (in the standard library
/// that hashes with the MurmurHash64A of libstdc++; in any other they are just texts).
std::vector<std::string> collidingTexts(std::size_t count);

}  // namespace kr::zero::test
