/// @file
/// Internal: single values from a property of one meta model to a property of another.
#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>

#include "CarryOverRules.h"
#include "kr/zero/Model.h"

namespace kr::zero::evolution {

/// A value of a property.
struct ValuePlace {
  ConstElement element;
  meta::Property property;
  std::size_t position;
};

/// Whether both hold numbers, or both hold Booleans: values of the one may be values of the other.
bool areNumbersAlike(meta::Property from, meta::Property to);
/// Puts the number into a property of another element: at the end of a collection, else in place of what is
/// there.
/// @return false, and nothing happens, where the very number is none of that property's.
bool copyNumber(const ValuePlace& from, Element element, meta::Property property);
/// The same for texts, DateTimes and UUIDs in place of each other.
bool copyText(const ValuePlace& from, Element element, meta::Property property);

/// What becomes of the literals of an enumeration.
class LiteralTable {
 public:
  /// What becomes of a literal.
  struct Move {
    const meta::EnumLiteral* from = nullptr;  ///< null: the number is no literal's
    const meta::EnumLiteral* to = nullptr;    ///< null: there is none
    bool asked = false;                       ///< a rule says to leave it out
    RuleId rule = kNoRule;
  };
  LiteralTable(meta::Enum from, meta::Enum to, const Rules& rules);
  const Move& moveOf(std::int64_t number) const;

 private:
  static Move moveOf(const meta::EnumLiteral& literal, meta::Enum from, meta::Enum to, const Rules& rules);
  std::unordered_map<std::int64_t, Move, NumberHash> moves_;
  Move none_;
};

}  // namespace kr::zero::evolution
