/// @file
/// A slow and obvious reader of well-formed documents of the direct format, to hold against the real one.
#pragma once

#include <cstddef>
#include <vector>

#include "kr/zero/meta/MetaRegistry.h"
#include "support/DirectBytes.h"

namespace kr::zero::test {

/// What lies in a document, without its contents.
struct DirectLayout {
  /// Every length at which the bytes so far are a document themselves: after the list of packages and
  /// after each root.
  std::vector<std::size_t> ends;
  std::size_t elements = 0;    ///< roots and children
  std::size_t datatypes = 0;   ///< values of structured datatypes
  std::size_t references = 0;  ///< single ones and entries of collections
  std::size_t maxDepth = 0;
};

/// Walks a document that `registry` describes.
/// @throws std::logic_error where the bytes are not a well-formed document.
DirectLayout walkDirect(const Bytes& bytes, const meta::MetaRegistry& registry);

}  // namespace kr::zero::test
