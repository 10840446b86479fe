/// @file
/// Internal: paths of elements, as messages show them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "model/Store.h"

namespace kr::zero::internal {

/// Path of an element; a long one is shortened in the middle. Looks for the positions of those shown among
/// their siblings.
std::string pathOf(const ModelStore& store, const ElementRecord* record);

/// How a path names a record.
/// @param position among the values of its container's property, or among the roots.
std::string segmentOf(const ModelStore& store, const ElementRecord* record, std::size_t position);

/// Where a record stands among the values of its container's property, or among the roots. Looks for it
/// there.
std::size_t positionOf(const ModelStore& store, const ElementRecord* record);
/// The same of each record of a model, by index; of what is not in it any more it means nothing.
std::vector<std::uint32_t> positionsIn(const ModelStore& store);

/// What a path calls a root of that type: the type's name with a small first letter.
std::string rootName(const meta::StructuredType& type);

/// Segments that a path shows at each end.
inline constexpr std::size_t kShownSegments = 24;

/// The path of so many segments, of which those in the middle are left out where there are many.
/// @param segment gives one by its number from the top.
template <class Segment>
std::string joinSegments(std::size_t size, Segment&& segment) {
  std::string path;
  for (std::size_t i = 0; i < size; ++i) {
    if (size > 2 * kShownSegments && i == kShownSegments) {
      i = size - kShownSegments - 1;
      path += "/...";
      continue;
    }
    path += "/" + segment(i);
  }
  return path.empty() ? "/" : path;
}

}  // namespace kr::zero::internal
