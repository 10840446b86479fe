/// @file
/// Paths of elements: the names and positions that lead to them, as messages show them, and the way back.
///
///     /library                               the only root: its class, with a small first letter
///     /library[1]                            the root at position 1, where there are several
///     /library/books[3]/chapters[0]          a step per property; positions count from 0
///     /library/address                       a property that is no collection has no position
///
/// Whoever asks by a path may also say
///
///     /library                               the first root of that class, where there are several
///     /library/books[title="Moby Dick"]      the first one with that value, as getTextForm gives it
///     /library/books[title="Moby Dick"][1]   the second of those
///     id "isbn" "123"/chapters[0]            a path that begins at the element of an identity
///
/// In quotes a backslash stands before a quote and before another backslash.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "kr/zero/Model.h"
#include "kr/zero/export.h"

namespace kr::zero {

/// The path of an element or datatype value. ConstElement::getPath gives the same for messages, and leaves
/// out the middle of a long one. Looks for the position among the siblings at each step; see ElementPaths for
/// many paths.
/// @throws ModelError for an empty handle and for an element that was removed.
KR0_FRAMEWORK_API std::string fullPathOf(ConstElement element);

/// The element or datatype value that a path leads to; an empty handle where it leads nowhere or is none.
/// Time grows with the path, and with the siblings where a step asks for a value; an identity is looked for
/// in the whole model.
KR0_FRAMEWORK_API ConstElement findElement(const Model& model, std::string_view path);
/// The same in a model that can be changed.
KR0_FRAMEWORK_API Element findElement(Model& model, std::string_view path);

/// The paths of a model's elements and datatype values, for those who ask for many: where each stands is
/// worked out once.
class KR0_FRAMEWORK_API ElementPaths {
 public:
  /// @param model must outlive this and is not to be changed meanwhile.
  explicit ElementPaths(const Model& model);
  /// The same as fullPathOf(). The time grows with the depth alone.
  std::string of(ConstElement element) const;
  /// Where it stands among the values of its container's property, or among the roots; 0 in a single-valued
  /// one.
  std::size_t positionOf(ConstElement element) const;

 private:
  const Model* model_;
  std::vector<std::uint32_t> positions_;  // by index
};

/// A text as paths quote it.
KR0_FRAMEWORK_API std::string quotedInPath(std::string_view text);

}  // namespace kr::zero
