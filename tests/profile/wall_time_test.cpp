// Time stamps as local time, in zones that are not UTC.
#include "support/naive_profile.h"

#include "profile/wall_time.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <ctime>
#include <filesystem>
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

// A locale of the machine's own making, so that none need be installed.
class GermanTime {
public:
  GermanTime() {
    char pattern[] = "/tmp/vel-locale.XXXXXX";
    folder_ = mkdtemp(pattern);
    const std::string make = "localedef -i de_DE -f UTF-8 '" + folder_.string() + "/de_DE.UTF-8'";
    EXPECT_EQ(std::system(make.c_str()), 0);
    setenv("LOCPATH", folder_.c_str(), 1);
    EXPECT_NE(std::setlocale(LC_ALL, "de_DE.UTF-8"), nullptr);
  }
  ~GermanTime() {
    std::setlocale(LC_ALL, "C");
    unsetenv("LOCPATH");
    std::filesystem::remove_all(folder_);
  }

private:
  std::filesystem::path folder_;
};

TEST_F(WallTime, MonthNamesAreEnglishInEveryLocale) {
  const GermanTime german;
  const std::time_t october = 1'760'000'000;
  char months[8];
  ASSERT_EQ(std::string(months, std::strftime(months, sizeof months, "%b", std::localtime(&october))), "Okt");
  EXPECT_EQ(text(1'760'000'000'000'000, {0, 0}), "Oct 09 14:23:20.000000");
  EXPECT_EQ(text(1'766'000'000'000'000, {0, 0}), "Dec 18 01:03:20.000000");
}

TEST_F(WallTime, AgreesWithTheLibrarysFormatting) {
  std::mt19937_64 random(11);
  for (const char* zone : {"UTC0", "VST-5:30", "CET-1CEST,M3.5.0,M10.5.0/3", "XST11:59:59"}) {
    set_zone(zone);
    for (unsigned i = 0; i < 5000; ++i) {
      const std::uint64_t timestamp = random();
      const TimeSync sync = {static_cast<std::int64_t>(random()), static_cast<std::int64_t>(random())};
      ASSERT_EQ(text(timestamp, sync), naive::wall_time(timestamp, sync.vel, sync.calendar)) << zone;
    }
  }
}

} // namespace
