#include "kr/zero/DateTime.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kr::zero {
namespace {

TEST(DateTimes, TheTextOfTheirPartsReadsBackAsThem) {
  const std::vector<std::pair<std::string, std::string>> texts{
      {"2010-02-01T05:12:32.125+01:00", "2010-02-01T05:12:32.125+01:00"},
      {"2010-02-01T05:12:32.120Z", "2010-02-01T05:12:32.120Z"},
      {"2010-02-01T05:12:60-0330", "2010-02-01T05:12:60-03:30"},
      {"2010-02-01T05:12+00:01", "2010-02-01T05:12:00+00:01"},
      {"2010-02-01", "2010-02-01T00:00:00"},
      {"-0044-03-15T12:00:00.000000001", "-0044-03-15T12:00:00.000000001"},
      {"123456-12-31", "123456-12-31T00:00:00"}};
  for (const auto& [text, written] : texts) {
    const auto date = DateTime::parse(text);
    ASSERT_TRUE(date) << text;
    EXPECT_EQ(date->toText(), written);
    EXPECT_EQ(DateTime::parse(written), date) << text;
  }
}

TEST(DateTimes, ANanosecondIsWrittenWithoutACountOfDigitsToo) {
  DateTime date;
  date.year = 2010;
  date.nanosecond = 5;
  EXPECT_EQ(date.toText(), "2010-01-01T00:00:00.000000005");
}

TEST(DateTimes, PartsThatNameNoTimeHaveATextThatIsNone) {
  const auto wrong = [](auto change) {
    DateTime date = *DateTime::parse("2010-02-01T05:12:32.125+01:00");
    change(date);
    return !DateTime::isValid(date.toText());
  };
  EXPECT_TRUE(wrong([](DateTime& date) { date.month = 13; }));
  EXPECT_TRUE(wrong([](DateTime& date) { date.day = 30; }));
  EXPECT_TRUE(wrong([](DateTime& date) { date.hour = 24; }));
  EXPECT_TRUE(wrong([](DateTime& date) { date.second = 255; }));
  EXPECT_TRUE(wrong([](DateTime& date) { date.nanosecond = 1'000'000'000; }));
  EXPECT_TRUE(wrong([](DateTime& date) { date.offsetMinutes = std::int16_t{-24 * 60}; }));
  EXPECT_TRUE(wrong([](DateTime& date) { date.year = std::numeric_limits<std::int32_t>::min(); }));
}

TEST(DateTimes, ADateAloneIsRead) {
  const auto date = DateTime::parse("2010-02-01");
  ASSERT_TRUE(date);
  EXPECT_EQ(date->year, 2010);
  EXPECT_EQ(date->month, 2);
  EXPECT_EQ(date->day, 1);
  EXPECT_EQ(date->hour, 0);
  EXPECT_EQ(date->offsetMinutes, std::nullopt);
}

TEST(DateTimes, ATimeToTheMinuteIsRead) {
  const auto date = DateTime::parse("2010-02-01T05:12");
  ASSERT_TRUE(date);
  EXPECT_EQ(date->hour, 5);
  EXPECT_EQ(date->minute, 12);
  EXPECT_EQ(date->second, 0);
  EXPECT_EQ(date->fractionDigits, 0);
}

TEST(DateTimes, SecondsFractionAndOffsetAreRead) {
  const auto date = DateTime::parse("2010-02-01T05:12:32.125+01:00");
  ASSERT_TRUE(date);
  EXPECT_EQ(date->second, 32);
  EXPECT_EQ(date->nanosecond, 125000000u);
  EXPECT_EQ(date->fractionDigits, 3);
  EXPECT_EQ(date->offsetMinutes, 60);
}

TEST(DateTimes, FractionsOfOneToNineDigitsAreRead) {
  std::uint32_t expected = 0;
  std::uint32_t place = 100000000;
  std::string digits;
  for (std::uint8_t n = 1; n <= 9; ++n, place /= 10) {
    digits += static_cast<char>('0' + n);
    expected += n * place;
    const auto date = DateTime::parse("2010-02-01T05:12:32." + digits);
    ASSERT_TRUE(date) << digits;
    EXPECT_EQ(date->nanosecond, expected);
    EXPECT_EQ(date->fractionDigits, n);
  }
}

TEST(DateTimes, EveryFormOfOffsetIsRead) {
  const std::vector<std::pair<std::string, int>> offsets{{"Z", 0},         {"+01:00", 60}, {"-0330", -210},
                                                         {"+05", 300},     {"-00:00", 0},  {"+14:00", 840},
                                                         {"-23:59", -1439}};
  for (const auto& [text, minutes] : offsets) {
    for (const std::string time : {"2010-02-01T05:12", "2010-02-01T05:12:32", "2010-02-01T05:12:32.5"}) {
      const auto date = DateTime::parse(time + text);
      ASSERT_TRUE(date) << time << text;
      EXPECT_EQ(date->offsetMinutes, minutes) << time << text;
    }
  }
}

TEST(DateTimes, YearsMayBeNegativeOrLong) {
  EXPECT_EQ(DateTime::parse("-0044-03-15")->year, -44);
  EXPECT_EQ(DateTime::parse("0000-01-01")->year, 0);
  EXPECT_EQ(DateTime::parse("+12010-01-01")->year, 12010);
  EXPECT_EQ(DateTime::parse("12010-01-01")->year, 12010);
  EXPECT_EQ(DateTime::parse("-999999999-01-01")->year, -999999999);
}

TEST(DateTimes, ALeapSecondIsRead) { EXPECT_EQ(DateTime::parse("2016-12-31T23:59:60Z")->second, 60); }

TEST(DateTimes, ALeapDayExistsInLeapYearsOnly) {
  EXPECT_TRUE(DateTime::parse("2000-02-29"));
  EXPECT_TRUE(DateTime::parse("2024-02-29"));
  EXPECT_TRUE(DateTime::parse("-0004-02-29"));
  EXPECT_FALSE(DateTime::parse("1900-02-29"));
  EXPECT_FALSE(DateTime::parse("2023-02-29"));
}

TEST(DateTimes, EveryMonthHasItsDaysAndNoMore) {
  const std::vector<int> days{31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  for (int month = 1; month <= 12; ++month) {
    const std::string start = std::string("2023-") + (month < 10 ? "0" : "") + std::to_string(month) + "-";
    const int last = days[static_cast<std::size_t>(month - 1)];
    EXPECT_TRUE(DateTime::parse(start + std::to_string(last))) << start << last;
    EXPECT_FALSE(DateTime::parse(start + std::to_string(last + 1))) << start << last + 1;
  }
}

TEST(DateTimes, WhatIsNoneOfTheFormsIsRefused) {
  for (const char* text : {"",
                           "-",
                           "2010",
                           "2010-02",
                           "201-02-01",
                           "1234567890-01-01",
                           "--2010-01-01",
                           "2010-2-01",
                           "2010-02-1",
                           "2010/02/01",
                           "20100201",
                           "2010-02-01 05:12",
                           "2010-02-01t05:12",
                           "2010-02-01T",
                           "2010-02-01T05",
                           "2010-02-01T05:1",
                           "2010-02-01T05:12:",
                           "2010-02-01T05:12:3",
                           "2010-02-01T05:12:32.",
                           "2010-02-01T05:12:32.1234567890",
                           "2010-02-01T05:12:32,5",
                           "2010-02-01T05:12.5",
                           "2010-02-01Z",
                           "2010-02-01+01:00",
                           "2010-02-01T05:12z",
                           "2010-02-01T05:12ZZ",
                           "2010-02-01T05:12+",
                           "2010-02-01T05:12+1",
                           "2010-02-01T05:12+01:",
                           "2010-02-01T05:12+01:0",
                           "2010-02-01T05:12+010",
                           "2010-02-01T05:12+01:000",
                           " 2010-02-01",
                           "2010-02-01 ",
                           "2010-02-01T05:12 ",
                           "+-2010-01-01",
                           "--01-01",
                           "2010-0:-01",
                           "2010-01-01T0::00",
                           "\xD9\xA2"
                           "010-02-01"}) {
    EXPECT_FALSE(DateTime::parse(text)) << text;
  }
}

TEST(DateTimes, OnlyPrefixesThatAreFormsThemselvesAreRead) {
  constexpr std::string_view text = "2010-02-01T05:12:32.125+01:00";
  std::vector<std::size_t> read;
  for (std::size_t length = 0; length <= text.size(); ++length) {
    if (DateTime::parse(text.substr(0, length))) read.push_back(length);
  }
  EXPECT_EQ(read, (std::vector<std::size_t>{10, 16, 19, 21, 22, 23, 26, 29}));
}

TEST(DateTimes, WhatDoesNotExistIsRefused) {
  for (const char* text :
       {"2010-00-01", "2010-13-01", "2010-01-00", "2010-01-32", "2010-01-01T24:00", "2010-01-01T00:60",
        "2010-01-01T00:00:61", "2010-01-01T00:00+24:00", "2010-01-01T00:00+00:60"}) {
    EXPECT_FALSE(DateTime::parse(text)) << text;
  }
}

TEST(DateTimes, UnixSecondsOfKnownMomentsAreRight) {
  EXPECT_EQ(DateTime::parse("1970-01-01")->toUnixSeconds(), 0);
  EXPECT_EQ(DateTime::parse("1969-12-31T23:59:59Z")->toUnixSeconds(), -1);
  EXPECT_EQ(DateTime::parse("2001-09-09T01:46:40Z")->toUnixSeconds(), 1000000000);
  EXPECT_EQ(DateTime::parse("2001-09-09T03:46:40+02:00")->toUnixSeconds(), 1000000000);
  EXPECT_EQ(DateTime::parse("2001-09-08T22:16:40-03:30")->toUnixSeconds(), 1000000000);
  EXPECT_EQ(DateTime::parse("0000-03-01")->toUnixSeconds(), -719468LL * 86400);
}

TEST(DateTimes, ALeapSecondIsTheFirstOfTheNextMinute) {
  EXPECT_EQ(DateTime::parse("2016-12-31T23:59:60Z")->toUnixSeconds(),
            DateTime::parse("2017-01-01T00:00:00Z")->toUnixSeconds());
}

// The days from 5000 before to 5000 after year 0, counted one by one.
TEST(DateTimes, UnixSecondsGrowByADayFromDayToDay) {
  std::int64_t expected = 0;
  bool started = false;
  std::size_t days = 0;
  for (std::int32_t year = -5000; year <= 5000; ++year) {
    for (std::uint8_t month = 1; month <= 12; ++month) {
      for (std::uint8_t day = 1; day <= 31; ++day) {
        char text[32];
        std::snprintf(text, sizeof text, "%s%04d-%02d-%02d", year < 0 ? "-" : "", std::abs(year), month, day);
        const auto date = DateTime::parse(text);
        if (!date) continue;
        if (!started) expected = date->toUnixSeconds();
        started = true;
        ASSERT_EQ(date->toUnixSeconds(), expected) << text;
        expected += 86400;
        ++days;
      }
    }
  }
  EXPECT_EQ(days, 146097u * 25 + 365);  // 25 times 400 years and the year 5000
}

TEST(DateTimes, UnixSecondsAreThoseOfTheCLibrary) {
  constexpr std::uint32_t kSeed = 7;
  std::mt19937_64 random(kSeed);
  for (int i = 0; i < 20000; ++i) {
    const auto moment = static_cast<std::time_t>(random() % 300000000000) - 60000000000;
    std::tm parts{};
    ASSERT_NE(gmtime_r(&moment, &parts), nullptr);
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02dZ", parts.tm_year + 1900, parts.tm_mon + 1,
                  parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec);
    const auto date = DateTime::parse(text);
    ASSERT_TRUE(date) << text;
    ASSERT_EQ(date->toUnixSeconds(), moment) << text << " seed " << kSeed;
  }
}

}  // namespace
}  // namespace kr::zero
