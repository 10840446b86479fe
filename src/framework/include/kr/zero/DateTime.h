/// @file
/// Points in time as models hold them: exactly what the text said.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "kr/zero/export.h"

namespace kr::zero {

/// The parts of a date and time text, in the ISO 8601 extended form:
///
///     2010-02-01                       date alone
///     2010-02-01T05:12                 to the minute
///     2010-02-01T05:12:32.125+01:00    fraction of 1 to 9 digits; offset Z, +hh:mm, +hhmm or +hh
///
/// Models keep the text itself, so precision and offset come back unchanged where texts are read and set.
struct DateTime {
  std::int32_t year = 0;            ///< proleptic Gregorian, may be negative
  std::uint8_t month = 1;           ///< 1 to 12
  std::uint8_t day = 1;             ///< 1 to 31
  std::uint8_t hour = 0;            ///< 0 to 23
  std::uint8_t minute = 0;          ///< 0 to 59
  std::uint8_t second = 0;          ///< 0 to 60
  std::uint32_t nanosecond = 0;     ///< the fraction of the second
  std::uint8_t fractionDigits = 0;  ///< how many digits of it the text had; 0 beside a nanosecond counts as 9
  std::optional<std::int16_t> offsetMinutes;  ///< none: local time

  /// Same parts; two texts of one moment may differ.
  friend bool operator==(const DateTime&, const DateTime&) = default;

  /// The parts of a text, or nothing where the text is none of the forms above or names a day or time
  /// that does not exist (the leap second 60 is accepted).
  KR0_FRAMEWORK_API static std::optional<DateTime> parse(std::string_view text);

  /// Whether parse() would give anything.
  KR0_FRAMEWORK_API static bool isValid(std::string_view text);

  /// A text with date, time to the second or its fraction, and offset, from which parse() makes the same
  /// parts. Of parts that name no day or time it is none that parse() takes.
  KR0_FRAMEWORK_API std::string toText() const;

  /// Seconds since 1970-01-01T00:00:00Z; a text without offset counts as UTC.
  KR0_FRAMEWORK_API std::int64_t toUnixSeconds() const;
};

}  // namespace kr::zero
