/// @file
/// Internal: names of elements that stay the same when other elements come, go or move, for outputs that are
/// compared line by line.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "kr/zero/Model.h"

namespace kr::zero::tool {

/// What tells an element from its siblings, the first that there is:
///
///     id "isbn" "123"        its identity, which also begins its path
///     [name="Moby Dick"]     the value of a property that names things: name, id, ... title, ...
///     [~0123abcd]            a figure made of its own values
///
/// Where several siblings have the same, the second one has "[1]" behind it, and so on. findElement
/// understands such paths, but for figures.
class StableNames {
 public:
  /// @param model must outlive this.
  explicit StableNames(const Model& model);

  /// What stands beside an element among its siblings. A root: its path. Empty: its place says it all, or its
  /// identity does.
  std::string amongSiblings(ConstElement element) const;
  /// From the root, or the next element above that has an identity. Of a path of more than 48 steps, a figure
  /// stands for all but the last ones.
  std::string pathOf(ConstElement element) const;

 private:
  std::string stepOf(ConstElement element) const;
  std::string keyOf(ConstElement element) const;
  meta::Property namingOf(ConstElement element) const;

  std::vector<std::uint32_t> earlier_;  // by index: siblings before it with its key
  std::vector<std::uint64_t> figures_;  // by index: of the whole path
  mutable std::unordered_map<const void*, std::vector<meta::Property>> namings_;  // by type, the best first
};

}  // namespace kr::zero::tool
