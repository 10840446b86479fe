/// @file
/// What the benchmark stores, as plain data: the common ground of models and messages.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kr::zero::bench {

/// Literals of the enumeration, by number.
inline constexpr const char* kGenreNames[] = {"novel", "poetry", "drama", "science", "history"};
inline constexpr std::uint32_t kGenreCount = 5;

/// One element. References are positions in the content.
struct Item {
  std::uint32_t depth = 0;  ///< 0 at the top; an item is a part of the last one before it that is one less
  std::string title;
  std::optional<std::string> isbn;
  std::optional<std::string> shelf;
  std::int32_t pages = 0;
  std::optional<std::int64_t> sold;
  std::optional<double> price;
  bool available = false;
  std::optional<std::uint32_t> genre;
  std::optional<std::string> acquired;
  std::vector<std::int32_t> ratings;
  std::vector<std::string> keywords;
  std::optional<std::uint32_t> original;
  std::vector<std::uint32_t> related;
  friend bool operator==(const Item&, const Item&) = default;
};

/// All items in document order.
using Content = std::vector<Item>;

/// What all programs here make the library from.
inline constexpr std::uint64_t kLibrarySeed = 20240229;

/// The same content for the same arguments, on every machine.
Content makeContent(std::size_t size, std::uint64_t seed);

}  // namespace kr::zero::bench
