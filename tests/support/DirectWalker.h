/// @file
/// A slow and obvious reader of well-formed documents of the direct format, to hold against the real one.
#pragma once

#include <cstddef>
#include <functional>
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

/// What some bytes of a document are.
enum class DirectItem {
  number,  ///< base-128: a token, key or count
  text,    ///< with its length in front
  byte,    ///< a mark
  fixed,   ///< a value of fixed width
  whole    ///< what can stand by itself: a root, or a property from its key to the end of its content
};

/// Hears which bytes are what, from `begin` up to and without `end`; a whole after what is in it.
using DirectListener = std::function<void(DirectItem item, std::size_t begin, std::size_t end)>;

/// Walks a document that `registry` describes.
/// @throws std::logic_error where the bytes are not a well-formed document; `listener` has then heard of what
/// is
///   before.
DirectLayout walkDirect(const Bytes& bytes, const meta::MetaRegistry& registry,
                        const DirectListener& listener = {});

}  // namespace kr::zero::test
