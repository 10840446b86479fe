/// @file
/// Internal: how the values of a property stand in documents, and what becomes of them when they are read as
/// those of another property. Which literals and classes there are is the caller's business: an enumeration
/// stands for any.
#pragma once

#include <string>

#include "kr/zero/evolution/SchemaDiff.h"
#include "kr/zero/meta/Type.h"

namespace kr::zero::evolution {

struct ValueForm {
  meta::PropertyKind kind = meta::PropertyKind::none;
  meta::StandardType standard = meta::StandardType::none;
  bool isMany = false;
  bool isOptional = false;  ///< exactly 0..1
  std::string type;         ///< qualified name

  bool isPrimitive() const noexcept { return meta::isPrimitive(kind); }
  /// Bytes of a value; 0 for what travels as a text or has no value of its own.
  unsigned width() const noexcept;
};

ValueForm formOf(meta::Property property);

/// Single or many, with or without the mark of an optional value: what a reader of the direct format goes by.
bool haveSameFrame(const ValueForm& before, const ValueForm& after) noexcept;

///@{
/// What becomes of values of `before` where the reader takes them for values of `after`.
Effect readDirect(const ValueForm& before, const ValueForm& after) noexcept;
Effect readTagged(const ValueForm& before, const ValueForm& after) noexcept;
Effect readXmi(const ValueForm& before, const ValueForm& after) noexcept;
Effect carryOver(const ValueForm& before, const ValueForm& after) noexcept;
///@}

}  // namespace kr::zero::evolution
