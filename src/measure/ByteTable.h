/// @file
/// Internal: adds up whose bytes are whose.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "kr/zero/io/DocumentBytes.h"

namespace kr::zero::io::measure {

class ByteTable {
 public:
  void addFrame(std::uint64_t bytes) noexcept { frame_ += bytes; }
  /// @param property empty: the type's own bytes.
  void add(meta::StructuredType type, meta::Property property, std::uint64_t bytes);
  DocumentBytes take();

 private:
  struct Row {
    meta::StructuredType type;
    std::uint64_t own = 0;
    std::vector<std::uint64_t> slots = {};
  };
  std::uint64_t frame_ = 0;
  std::vector<Row> rows_;  // by type index
};

}  // namespace kr::zero::io::measure
