/// @file
/// What a Value is: a type, and how many of it.
#pragma once

#include <cstdint>

#include "kr/zero/meta/Type.h"

namespace kr::zero {

/// How many entries a value has.
enum class ValueFlags : std::uint32_t {
  empty = 0,       ///< of an optional property, without a value
  single = 1,      ///< exactly one
  collection = 2,  ///< any number
};

/// The type of a Value and its number of entries. A plain value.
class ValueMeta {
 public:
  constexpr ValueMeta() noexcept = default;
  /// Of that type, with so many entries.
  constexpr ValueMeta(meta::Type type, ValueFlags flags) noexcept : type_(type), flags_(flags) {}

  /// The type; empty for none.
  meta::Type getType() const noexcept { return type_; }
  /// How many entries there are.
  ValueFlags getFlags() const noexcept { return flags_; }
  /// The meta of one entry: the same type, single.
  ValueMeta getEntryType() const noexcept { return ValueMeta(type_, ValueFlags::single); }

 private:
  meta::Type type_;
  ValueFlags flags_ = ValueFlags::empty;
};

}  // namespace kr::zero
