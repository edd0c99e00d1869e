// Time stamps as local time, in zones that are not UTC.
#include "process_locale.h"
#include "profile/wall_time.h"
#include "support/naive_profile.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <random>
#include <string>

namespace {

using namespace vel::profile;

// Sets the process's zone for one test. Zones are spelt out, so that no zone database is needed.
class WallTime : public testing::Test {
protected:
  WallTime() { set_zone("VST-5:30"); }
  ~WallTime() override {
    unsetenv("TZ");
    tzset();
  }
  static void set_zone(const char* zone) {
    setenv("TZ", zone, 1);
    tzset();
  }
  static std::string text(std::uint64_t timestamp, const TimeSync& sync) {
    return std::string(WallClock(sync).text(timestamp));
  }
};

TEST_F(WallTime, StampOfTheSyncMoment_IsTheCalendarTime) {
  EXPECT_EQ(text(5'000'000, {5'000'000'000, 1'700'000'000'123'456'789}), "Nov 15 03:43:20.123456");
}

TEST_F(WallTime, MicrosecondsHaveSixDigits) {
  EXPECT_EQ(text(0, {0, 0}), "Jan 01 05:30:00.000000");
  EXPECT_EQ(text(7, {0, 0}), "Jan 01 05:30:00.000007");
  EXPECT_EQ(text(1'999'999, {0, 0}), "Jan 01 05:30:01.999999");
}

TEST_F(WallTime, OtherZone) {
  set_zone("XST3:07:08");
  EXPECT_EQ(text(0, {0, 0}), "Dec 31 20:52:52.000000");
}

TEST_F(WallTime, SummerTimeOfTheZoneApplies) {
  set_zone("CET-1CEST,M3.5.0,M10.5.0/3");
  EXPECT_EQ(text(0, {0, 1'711'846'799'999'999'999}), "Mar 31 01:59:59.999999");
  EXPECT_EQ(text(0, {0, 1'711'846'800'000'000'000}), "Mar 31 03:00:00.000000");
}

TEST_F(WallTime, OneClockTellsTimesInAnyOrder) {
  WallClock clock({0, 0});
  EXPECT_EQ(clock.text(999'999), "Jan 01 05:30:00.999999");
  EXPECT_EQ(clock.text(1'000'000), "Jan 01 05:30:01.000000");
  EXPECT_EQ(clock.text(1'000'001), "Jan 01 05:30:01.000001");
  EXPECT_EQ(clock.text(5), "Jan 01 05:30:00.000005");
}

TEST_F(WallTime, NewZoneTakesEffectWithTheNextClock) {
  WallClock clock({0, 0});
  EXPECT_EQ(clock.text(0), "Jan 01 05:30:00.000000");
  set_zone("UTC0");
  EXPECT_EQ(clock.text(1), "Jan 01 05:30:00.000001") << "the same second";
  EXPECT_EQ(text(1, {0, 0}), "Jan 01 00:00:00.000001");
}

// 2^64 nanoseconds, from 0 to the end of July 2554.
TEST_F(WallTime, ArithmeticWrapsAround) {
  EXPECT_EQ(wall_microseconds(UINT64_MAX, {0, 0}), (0 - std::uint64_t{1000}) / 1000);
  EXPECT_EQ(wall_microseconds(0, {1, 0}), UINT64_MAX / 1000);
  EXPECT_EQ(wall_microseconds(18446744073709552, {0, 0}), 0U) << "the product with 1000 is 2^64 + 384";
  EXPECT_EQ(wall_microseconds(3, {INT64_MIN, INT64_MIN}), 3U);
  EXPECT_EQ(wall_microseconds(1, {-1000, -1000}), 1U);
  EXPECT_EQ(text(0, {1, 0}), "Jul 22 05:04:33.709551");
  EXPECT_EQ(text(18446744073709552, {0, 0}), "Jan 01 05:30:00.000000");
}

TEST_F(WallTime, MonthNamesFollowTheLocale) {
  const ProcessLocale german("de_DE");
  EXPECT_EQ(text(1'760'000'000'000'000, {0, 0}), "Okt 09 14:23:20.000000");
  EXPECT_EQ(text(1'766'000'000'000'000, {0, 0}), "Dez 18 01:03:20.000000");
}

TEST_F(WallTime, NewLocaleTakesEffectWithTheNextClock) {
  WallClock clock({0, 0});
  EXPECT_EQ(clock.text(1'766'000'000'000'000), "Dec 18 01:03:20.000000");
  const ProcessLocale german("de_DE");
  EXPECT_EQ(clock.text(1'766'000'100'000'000), "Dec 18 01:05:00.000000") << "the same month";
  EXPECT_EQ(text(1'766'000'100'000'000, {0, 0}), "Dez 18 01:05:00.000000");
}

const MonthNames growing_months = {"",
                                   "a",
                                   "abcd",
                                   "abcdefghi",
                                   "abcdefghij",
                                   "abcdefghijk",
                                   "abcdefghijklmnop",
                                   "abcdefghijklmnopq",
                                   "abcdefghijklmnopqr",
                                   "abcdefghijklmnopqrs",
                                   "abcdefghijklmnopqrstuvwxyzabcd",
                                   "abcdefghijklmnopqrstuvwxyzabcdefghijklmnopqrstuvwxyz"};

TEST_F(WallTime, LongMonthNames_LoseWhatDoesNotFitTheTwoBuffers) {
  const ProcessLocale locale(growing_months);
  set_zone("UTC0");
  constexpr const char* expected[] = {
      " 02 00:00:00.000417",
      "a 02 00:00:00.000417",
      "abcd 02 00:00:00.000417",
      "abcdefghi 02 00:00:00.000417",
      "abcdefghij 02 00:00:00.000417", // 29 bytes, the most that fit
      "abcdefghijk 02 00:00:00.00041",
      "abcdefghijklmnop 02 00:00:00.",
      "abcdefghijklmnopq 02 00:00:00", // the date fills its buffer
      ".000417",
      ".000417",
      ".000417",
      ".000417",
  };
  WallClock clock({0, 0});
  for (int month = 11; month >= 0; --month) {
    std::tm day = {};
    day.tm_year = 100;
    day.tm_mon = month;
    day.tm_mday = 2;
    const std::uint64_t timestamp = static_cast<std::uint64_t>(timegm(&day)) * 1'000'000 + 417;
    EXPECT_EQ(clock.text(timestamp), expected[month]);
    EXPECT_EQ(text(timestamp, {0, 0}), expected[month]);
    EXPECT_EQ(naive::wall_time(timestamp, 0, 0), expected[month]);
  }
}

void expect_agreement(const char* zone, std::mt19937_64& random) {
  for (unsigned i = 0; i < 5000; ++i) {
    const std::uint64_t timestamp = random();
    const TimeSync sync = {static_cast<std::int64_t>(random()), static_cast<std::int64_t>(random())};
    ASSERT_EQ(WallClock(sync).text(timestamp), naive::wall_time(timestamp, sync.vel, sync.calendar)) << zone;
  }
}

TEST_F(WallTime, AgreesWithTheLibrarysFormatting) {
  std::mt19937_64 random(11);
  for (const char* zone : {"UTC0", "VST-5:30", "CET-1CEST,M3.5.0,M10.5.0/3", "XST11:59:59"}) {
    set_zone(zone);
    expect_agreement(zone, random);
  }
}

// Months of 6 to 30 bytes: some texts are whole, some are cut, and some dates do not fit.
TEST_F(WallTime, AgreesWithTheLibrarysFormatting_InALocaleWithLongMonths) {
  const ProcessLocale bengali("bn_BD");
  std::mt19937_64 random(12);
  expect_agreement("bn_BD", random);
}

} // namespace
