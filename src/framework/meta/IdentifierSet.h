/// @file
/// Internal: a set of property identifiers.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace kr::zero::meta {

/// The highest identifier: one below the token that ends an element in the binary formats.
inline constexpr std::uint32_t kMostIdentifier = 0x3FFE;

/// Small numbers as bits; as long as its highest number asks for.
class IdentifierSet {
 public:
  /// @return whether it was not in the set before.
  bool insert(std::uint32_t identifier) {
    const std::size_t word = identifier / 64;
    if (word >= words_.size()) words_.resize(word + 1);
    const std::uint64_t bit = std::uint64_t{1} << (identifier % 64);
    const bool added = (words_[word] & bit) == 0;
    words_[word] |= bit;
    return added;
  }

  void insertAll(const IdentifierSet& other) {
    if (other.words_.size() > words_.size()) words_.resize(other.words_.size());
    for (std::size_t i = 0; i < other.words_.size(); ++i) words_[i] |= other.words_[i];
  }

  /// The smallest number from `first` on that is not in the set.
  std::uint32_t smallestFree(std::uint32_t first) const noexcept {
    std::uint64_t below = (std::uint64_t{1} << (first % 64)) - 1;
    for (std::size_t word = first / 64; word < words_.size(); ++word, below = 0)
      if (const std::uint64_t free = ~(words_[word] | below); free != 0)
        return static_cast<std::uint32_t>(word * 64) + static_cast<std::uint32_t>(std::countr_zero(free));
    return std::max(first, static_cast<std::uint32_t>(words_.size() * 64));
  }

 private:
  std::vector<std::uint64_t> words_;
};

}  // namespace kr::zero::meta
