/// @file
/// What the bytes of a document are, as far as they make sense, for those who change them.
#pragma once

#include <cstddef>
#include <vector>

#include "common/Fuzzing.h"
#include "support/DirectWalker.h"

namespace kr::zero::fuzz {

using Kind = test::DirectItem;

/// Bytes that belong together.
struct Item {
  Kind kind;
  std::size_t begin;
  std::size_t end;
};

/// Those of a document of the direct format, of the golden meta model.
std::vector<Item> itemsOfDirect(const Bytes& bytes);
/// Those of a document of the tagged format. A number is an integer with its tag, a text a string with its
/// tag; a byte is a tag that has nothing behind it, and a whole an entry, a struct, a sequence or metadata.
std::vector<Item> itemsOfTagged(const Bytes& bytes);

}  // namespace kr::zero::fuzz
