/// @file
/// A set of event kinds in one word.
#pragma once

#include <cstdint>
#include <string>

#include "kr/zero/export.h"
#include "modeling/sylvan/SylvanEventCode.h"

namespace modeling::sylvan::grammar {

/// Kinds of events, any number of the eleven. A plain value.
class EventKinds {
 public:
  constexpr EventKinds() noexcept = default;
  /// The set of one kind.
  constexpr explicit EventKinds(SylvanEventCode code) noexcept : bits_(bitOf(code)) {}

  /// Whether that kind is in the set.
  constexpr bool contains(SylvanEventCode code) const noexcept { return (bits_ & bitOf(code)) != 0; }
  /// Adds all kinds of the other set.
  constexpr EventKinds& operator|=(EventKinds other) noexcept {
    bits_ |= other.bits_;
    return *this;
  }
  /// The kinds that are in either set.
  friend constexpr EventKinds join(EventKinds left, EventKinds right) noexcept { return left |= right; }
  constexpr bool operator==(const EventKinds&) const noexcept = default;

 private:
  static constexpr std::uint32_t bitOf(SylvanEventCode code) noexcept {
    return std::uint32_t{1} << static_cast<unsigned>(code);
  }

  std::uint32_t bits_ = 0;
};

/// The names of the kinds in the order of their numbers: "EndStruct or StartNamedEntry"; "nothing" for none.
KR0_FRAMEWORK_API std::string describe(EventKinds kinds);

}  // namespace modeling::sylvan::grammar
