/// @file
/// Categories of properties: which of a serializer's and parser's ways a property takes.
#pragma once

#include <cstdint>

#include "kr/zero/meta/Type.h"

namespace kr::zero::io {

/// A 32-bit mask. The low byte holds the single-valued categories; the collections are the same bits
/// shifted left by 8.
///
/// | | single | collection |
/// |---|---|---|
/// | primitive carried as text (on the reading side: every primitive and enumeration) | 0x001 | 0x100 |
/// | datatype (a structured type that is not a class) | 0x002 | 0x200 |
/// | association | 0x004 | 0x400 |
/// | composition | 0x008 | 0x800 |
/// | verbatim (the value travels as a typed value) | 0x010 | 0x1000 |
///
/// 0 is a property without a stored value.
class PropertyCategory {
 public:
  constexpr PropertyCategory() noexcept = default;
  /// Of a mask of bits as above.
  constexpr explicit PropertyCategory(std::uint32_t mask) noexcept : mask_(mask) {}

  ///@{
  /// The category of that name: of single values, of collections, of either.
  static constexpr PropertyCategory Primitive() noexcept { return PropertyCategory(0x001); }
  static constexpr PropertyCategory PrimitiveCollection() noexcept { return PropertyCategory(0x100); }
  static constexpr PropertyCategory PrimitiveAny() noexcept { return PropertyCategory(0x101); }
  static constexpr PropertyCategory Datatype() noexcept { return PropertyCategory(0x002); }
  static constexpr PropertyCategory DatatypeCollection() noexcept { return PropertyCategory(0x200); }
  static constexpr PropertyCategory DatatypeAny() noexcept { return PropertyCategory(0x202); }
  static constexpr PropertyCategory Association() noexcept { return PropertyCategory(0x004); }
  static constexpr PropertyCategory AssociationCollection() noexcept { return PropertyCategory(0x400); }
  static constexpr PropertyCategory AssociationAny() noexcept { return PropertyCategory(0x404); }
  static constexpr PropertyCategory Composition() noexcept { return PropertyCategory(0x008); }
  static constexpr PropertyCategory CompositionCollection() noexcept { return PropertyCategory(0x800); }
  static constexpr PropertyCategory CompositionAny() noexcept { return PropertyCategory(0x808); }
  static constexpr PropertyCategory Verbatim() noexcept { return PropertyCategory(0x010); }
  static constexpr PropertyCategory VerbatimCollection() noexcept { return PropertyCategory(0x1000); }
  static constexpr PropertyCategory VerbatimAny() noexcept { return PropertyCategory(0x1010); }
  ///@}

  /// Whether this shares a bit with `other`.
  constexpr bool isA(PropertyCategory other) const noexcept { return (mask_ & other.mask_) != 0; }
  /// The bits.
  constexpr std::uint32_t getMask() const noexcept { return mask_; }
  friend constexpr bool operator==(PropertyCategory, PropertyCategory) noexcept = default;

 private:
  std::uint32_t mask_ = 0;
};

/// The category of a property on the reading side, where every value that is no structure is a primitive.
inline PropertyCategory categoryOf(const meta::Property::Impl& property) noexcept {
  return PropertyCategory(property.getCategoryMask());
}

}  // namespace kr::zero::io
