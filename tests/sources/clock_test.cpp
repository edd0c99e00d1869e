// Calendar times of lines, back into the relation between the clocks.
#include "support/zone.h"
#include <sources/clock.h>

#include <gmock/gmock.h>

namespace vel::sources {

namespace {

constexpr std::int64_t oneSecond = 1'000'000;

struct Row {
  const char* name;
  const char* zone;
  const char* calendar;
  std::uint64_t boot; // seconds
  std::int64_t expected;
};

TEST(ClockReader, CalendarTime_HasTheYearOfTheBootOrTheNextOne) {
  const Row rows[] = {
      {"same year", "UTC", "Nov 21 08:15:02.000417", 1'731'000'000, 1'732'176'902 * oneSecond + 417},
      {"next year", "UTC", "Jan 01 00:00:00.000000", 1'735'600'000, 1'735'689'600 * oneSecond},
      {"a little before the boot", "UTC", "Nov 07 17:00:00.000000", 1'731'000'000, 1'730'998'800 * oneSecond},
      {"local time", "Asia/Kolkata", "Nov 21 13:45:02.000000", 1'731'000'000, 1'732'176'902 * oneSecond},
      {"a leap day", "UTC", "Feb 29 12:00:00.000000", 1'700'000'000, 1'709'208'000 * oneSecond},
  };
  for (const Row& row : rows) {
    const Zone zone(row.zone);
    EXPECT_EQ(ClockReader::calendarTime(row.calendar, row.boot * 1'000'000), row.expected) << row.name;
  }
}

TEST(ClockReader, OtherText_IsNoTime) {
  const Zone zone("UTC");
  for (const char* text : {"", "Nov 21 08:15:02", "Nov 21 08:15:02.00041x", "Nox 21 08:15:02.000417", ".000417",
                           "Feb 30 08:15:02.000417", "Nov 21 25:15:02.000417", "Nov-21 08:15:02.000417"}) {
    EXPECT_EQ(ClockReader::calendarTime(text, 1'731'000'000'000'000), std::nullopt) << text;
  }
  EXPECT_EQ(ClockReader::calendarTime("Nov 21 08:15:02.000417", {}), std::nullopt) << "no year";
  EXPECT_EQ(ClockReader::calendarTime("Nov 21 08:15:02.000417", ~std::uint64_t{0}), std::nullopt);
}

TEST(ClockReader, RepeatedHour_IsReadAsTheOtherLinesAre) {
  const Zone zone("Europe/Berlin");
  constexpr std::uint64_t boot = 1'698'300'000'000'000;
  const std::int64_t summer = 1'698'538'500 * oneSecond; // 02:15 before the clocks go back
  EXPECT_EQ(ClockReader::calendarTime("Oct 29 02:15:00.000000", boot, summer), summer);
  EXPECT_EQ(ClockReader::calendarTime("Oct 29 02:15:00.000000", boot, summer + 3600 * oneSecond),
            summer + 3600 * oneSecond);
}

// Lines show every relation, and the relation read from them gives the same lines.
TEST(ClockReader, RelationsAreThoseThatLinesWereMadeWith) {
  for (const char* name : {"UTC", "Asia/Kolkata", "America/New_York"}) {
    const Zone zone(name);
    const profile::TimeSync sync{123'456'789, 1'731'000'000'000'000'999};
    const std::uint64_t boot = 1'730'900'000'000'000;
    profile::WallClock wall(sync);
    ClockReader reader;
    for (std::uint64_t stamp = 0; stamp < 40'000'000'000; stamp += 77'777'777) {
      ASSERT_EQ(reader.add(stamp, wall.text(stamp), boot), 0) << stamp;
    }
    ASSERT_EQ(reader.relations().size(), 1U);
    profile::WallClock again(timeSync(reader.relations()[0]));
    EXPECT_EQ(again.text(12'345'678), wall.text(12'345'678));
  }
}

TEST(ClockReader, ContradictionIsASecondRelation) {
  const Zone zone("UTC");
  ClockReader reader;
  EXPECT_EQ(reader.add(1'000'000, "Nov 21 08:15:02.000000", 1'731'000'000'000'000), 0);
  EXPECT_EQ(reader.add(2'000'000, "Nov 21 08:15:03.000000", 1'731'000'000'000'000), 0);
  EXPECT_EQ(reader.add(3'000'000, "Nov 21 08:15:04.000001", 1'731'000'000'000'000), 1);
  EXPECT_EQ(reader.add(3'000'000, "Nov 21 08:15:04.000000", 1'731'000'000'000'001), 2) << "another boot";
  EXPECT_EQ(reader.add(4'000'000, "Nov 21 08:15:05.000000", 1'731'000'000'000'000), 0);
  EXPECT_EQ(reader.add(4'000'000, "", 1'731'000'000'000'000), -1);
  ASSERT_EQ(reader.relations().size(), 3U);
  EXPECT_EQ(reader.relations()[0].lines, 3U);
  EXPECT_EQ(reader.relations()[1].offset - reader.relations()[0].offset, 1);
}

} // namespace

} // namespace vel::sources
