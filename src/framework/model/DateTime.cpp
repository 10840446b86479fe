#include "kr/zero/DateTime.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdlib>

namespace kr::zero {

namespace {

constexpr std::size_t kMinYearDigits = 4;
constexpr std::size_t kMaxYearDigits = 9;  // what an int32 always holds
constexpr std::size_t kMaxFractionDigits = 9;
constexpr std::int32_t kNone = -1;

bool isDigit(char c) { return c >= '0' && c <= '9'; }

// The library's years have 16 bits. The calendar repeats itself every 400 years, so a year may be told as one
// of the first 400 and the number of such eras before it.
constexpr std::int64_t kYearsPerEra = 400;
constexpr std::int64_t kDaysPerEra = 146097;

std::int64_t eraOf(std::int64_t year) {
  return (year >= 0 ? year : year - (kYearsPerEra - 1)) / kYearsPerEra;
}

std::chrono::year_month yearMonthInEra(std::int64_t year, unsigned month) {
  return std::chrono::year(static_cast<int>(year - eraOf(year) * kYearsPerEra)) / static_cast<int>(month);
}

std::int32_t daysInMonth(std::int64_t year, unsigned month) {
  const std::chrono::year_month_day_last last = yearMonthInEra(year, month) / std::chrono::last;
  return static_cast<std::int32_t>(static_cast<unsigned>(last.day()));
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

// Whether a text is YYYY-MM-DDThh:mm:ssZ, as most programs write dates, and on a day that each month has. The
// general answer takes four times as long.
bool isUsualDateTime(std::string_view text) {
  constexpr std::string_view kLeast = "0000-00-00T00:00:00Z";
  constexpr std::string_view kMost = "9999-19-29T29:59:59Z";
  if (text.size() != kLeast.size()) return false;
  // Sixteen places at a time, so that compilers compare them at once.
  const auto isOutside = [&](std::size_t first) {
    unsigned char outside = 0;
    for (std::size_t i = first; i < first + 16; ++i) {
      outside |= static_cast<unsigned char>(text[i] < kLeast[i]);
      outside |= static_cast<unsigned char>(text[i] > kMost[i]);
    }
    return outside != 0;
  };
  if (isOutside(0) || isOutside(kLeast.size() - 16)) return false;
  const auto number = [&](std::size_t at) { return (text[at] - '0') * 10 + (text[at + 1] - '0'); };
  const int month = number(5);
  const int day = number(8);
  return month >= 1 && month <= 12 && day >= 1 && day <= 28 && number(11) <= 23;
}

// Days from 1970-01-01.
std::int64_t daysSinceEpoch(std::int64_t year, unsigned month, unsigned day) {
  const std::chrono::sys_days inEra = yearMonthInEra(year, month) / static_cast<int>(day);
  return eraOf(year) * kDaysPerEra + inEra.time_since_epoch().count();
}

// At least so many digits of a number that is not negative.
std::string padded(std::int64_t number, std::size_t digits) {
  const std::string text = std::to_string(number);
  return text.size() < digits ? std::string(digits - text.size(), '0') + text : text;
}

std::string fractionText(std::uint32_t nanosecond, std::size_t digits) {
  std::string text = padded(nanosecond, kMaxFractionDigits);
  if (digits != 0 && text.size() == kMaxFractionDigits) text.resize(std::min(digits, kMaxFractionDigits));
  return "." + text;
}

std::string offsetText(int minutes) {
  if (minutes == 0) return "Z";
  const int distance = std::abs(minutes);
  return (minutes < 0 ? "-" : "+") + padded(distance / 60, 2) + ":" + padded(distance % 60, 2);
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

bool DateTime::isValid(std::string_view text) { return isUsualDateTime(text) || parse(text).has_value(); }

std::string DateTime::toText() const {
  std::string text = year < 0 ? "-" : "";
  text +=
      padded(std::abs(std::int64_t{year}), kMinYearDigits) + "-" + padded(month, 2) + "-" + padded(day, 2);
  text += "T" + padded(hour, 2) + ":" + padded(minute, 2) + ":" + padded(second, 2);
  if (fractionDigits != 0 || nanosecond != 0) text += fractionText(nanosecond, fractionDigits);
  if (offsetMinutes) text += offsetText(*offsetMinutes);
  return text;
}

std::int64_t DateTime::toUnixSeconds() const {
  const std::int64_t minutes = hour * 60 + minute - offsetMinutes.value_or(0);
  return daysSinceEpoch(year, month, day) * 86400 + minutes * 60 + second;
}

}  // namespace kr::zero
