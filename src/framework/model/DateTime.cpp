#include "kr/zero/DateTime.h"

#include <algorithm>
#include <cstddef>

namespace kr::zero {

namespace {

constexpr std::size_t kMinYearDigits = 4;
constexpr std::size_t kMaxYearDigits = 9;  // what an int32 always holds
constexpr std::size_t kMaxFractionDigits = 9;
constexpr std::int32_t kNone = -1;

bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool isLeapYear(std::int64_t year) { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

std::int32_t daysInMonth(std::int64_t year, std::int32_t month) {
  constexpr std::int32_t kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && isLeapYear(year) ? 29 : kDays[month - 1];
}

// Takes a text apart from its front.
class Reader {
 public:
  explicit Reader(std::string_view rest) : rest_(rest) {}

  bool atEnd() const { return rest_.empty(); }

  bool take(char wanted) {
    if (rest_.empty() || rest_.front() != wanted) return false;
    rest_.remove_prefix(1);
    return true;
  }

  std::size_t countDigits() const {
    return static_cast<std::size_t>(std::ranges::find_if_not(rest_, isDigit) - rest_.begin());
  }

  // The number in the next `digits` digits, at most 9 of them.
  std::int32_t takeDigits(std::size_t digits) {
    std::int32_t number = 0;
    for (const char c : rest_.substr(0, digits)) number = number * 10 + (c - '0');
    rest_.remove_prefix(digits);
    return number;
  }

  // Exactly two digits within the range, or kNone.
  std::int32_t takeTwoDigits(std::int32_t least, std::int32_t most) {
    if (rest_.size() < 2 || !isDigit(rest_[0]) || !isDigit(rest_[1])) return kNone;
    const std::int32_t number = takeDigits(2);
    return number < least || number > most ? kNone : number;
  }

 private:
  std::string_view rest_;
};

bool readTwoDigits(Reader& in, std::int32_t least, std::int32_t most, std::uint8_t& out) {
  const std::int32_t number = in.takeTwoDigits(least, most);
  if (number == kNone) return false;
  out = static_cast<std::uint8_t>(number);
  return true;
}

bool readYear(Reader& in, std::int32_t& year) {
  const bool negative = in.take('-');
  if (!negative) in.take('+');
  const std::size_t digits = in.countDigits();
  if (digits < kMinYearDigits || digits > kMaxYearDigits) return false;
  year = in.takeDigits(digits);
  if (negative) year = -year;
  return true;
}

// [+-]YYYY-MM-DD
bool readDate(Reader& in, DateTime& out) {
  return readYear(in, out.year) && in.take('-') && readTwoDigits(in, 1, 12, out.month) && in.take('-') &&
         readTwoDigits(in, 1, daysInMonth(out.year, out.month), out.day);
}

// The digits behind the point.
bool readFraction(Reader& in, DateTime& out) {
  const std::size_t digits = in.countDigits();
  if (digits == 0 || digits > kMaxFractionDigits) return false;
  out.fractionDigits = static_cast<std::uint8_t>(digits);
  out.nanosecond = static_cast<std::uint32_t>(in.takeDigits(digits));
  for (std::size_t i = digits; i < kMaxFractionDigits; ++i) out.nanosecond *= 10;
  return true;
}

// hh:mm[:ss[.f]]
bool readTime(Reader& in, DateTime& out) {
  if (!readTwoDigits(in, 0, 23, out.hour) || !in.take(':') || !readTwoDigits(in, 0, 59, out.minute))
    return false;
  if (!in.take(':')) return true;
  if (!readTwoDigits(in, 0, 60, out.second)) return false;  // 60: a leap second, at any minute of local time
  return !in.take('.') || readFraction(in, out);
}

// [Z | (+|-)hh[[:]mm]]
bool readOffset(Reader& in, DateTime& out) {
  if (in.atEnd()) return true;
  if (in.take('Z')) {
    out.offsetMinutes = std::int16_t{0};
    return true;
  }
  const bool negative = in.take('-');
  if (!negative && !in.take('+')) return false;
  std::uint8_t hours = 0;
  std::uint8_t minutes = 0;
  if (!readTwoDigits(in, 0, 23, hours)) return false;
  const bool colon = in.take(':');
  if ((colon || !in.atEnd()) && !readTwoDigits(in, 0, 59, minutes)) return false;
  const int offset = hours * 60 + minutes;
  out.offsetMinutes = static_cast<std::int16_t>(negative ? -offset : offset);
  return true;
}

// Days from 1970-01-01. Years are counted from March on, so that the leap day is a year's last day, and
// in eras of 400 years, which all have the same number of days.
std::int64_t daysSinceEpoch(std::int64_t year, std::int64_t month, std::int64_t day) {
  constexpr std::int64_t kDaysPerEra = 146097;
  constexpr std::int64_t kEpoch = 719468;  // 1970-01-01 counted from 0000-03-01
  const std::int64_t marchYear = month > 2 ? year : year - 1;
  const std::int64_t monthsSinceMarch = month > 2 ? month - 3 : month + 9;
  const std::int64_t era = (marchYear >= 0 ? marchYear : marchYear - 399) / 400;
  const std::int64_t yearOfEra = marchYear - era * 400;
  const std::int64_t dayOfYear = (153 * monthsSinceMarch + 2) / 5 + day - 1;  // 153 days per five months
  const std::int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return era * kDaysPerEra + dayOfEra - kEpoch;
}

}  // namespace

std::optional<DateTime> DateTime::parse(std::string_view text) {
  Reader in(text);
  DateTime out;
  if (!readDate(in, out)) return std::nullopt;
  if (in.atEnd()) return out;
  if (!in.take('T') || !readTime(in, out) || !readOffset(in, out) || !in.atEnd()) return std::nullopt;
  return out;
}

std::int64_t DateTime::toUnixSeconds() const {
  const std::int64_t minutes = hour * 60 + minute - offsetMinutes.value_or(0);
  return daysSinceEpoch(year, month, day) * 86400 + minutes * 60 + second;
}

}  // namespace kr::zero
