// Ranges of time as people type them.
#include "support/zone.h"
#include <sources/time_range.h>

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <stdexcept>

namespace vel::sources {

namespace {

constexpr std::uint64_t latest = ~std::uint64_t{0};
constexpr Range none = {1, 0};

// The first record is of 420 s, which is Nov 21 2026 21:00:07 UTC; the last one is of 500 s.
constexpr std::int64_t firstCalendar = 1'795'294'807;
const LogTimes log = {420'000'000, 500'000'000, profile::TimeSync{420'000'000'000, firstCalendar * 1'000'000'000}};

Range resolved(std::string_view text, const LogTimes& times = log) {
  TimeRange range;
  range.narrow(text);
  return range.resolve(times);
}

TEST(TimeRange, Forms) {
  const Zone zone("UTC");
  const struct {
    std::string_view text;
    Range expected;
  } rows[] = {
      {"3..9", {3, 9}},
      {"3..", {3, latest}},
      {"..9", {0, 9}},
      {"4", {4, 4}},
      {"0..18446744073709551615", {0, latest}},
      // Seconds of the same clock; a number stands for all that begins with its digits.
      {"420.5..", {420'500'000, latest}},
      {"..420.5", {0, 420'599'999}},
      {"420.000417", {420'000'417, 420'000'417}},
      {"1.0..2.5", {1'000'000, 2'599'999}},
      {"+1.5s..+2s", {421'500'000, 422'000'000}},
      {"+250us..", {420'000'250, latest}},
      {"+1ms..+1.5ms", {420'001'000, 420'001'500}},
      {"..+1min", {0, 480'000'000}},
      {"+0.01h..", {456'000'000, latest}},
      {"last 10s", {490'000'000, latest}},
      {"last 10s..last 5s", {490'000'000, 495'000'000}},
      {"..last 5s", {0, 495'000'000}},
      {"last 1h", {0, latest}},
      {"+1s..430000000", {421'000'000, 430'000'000}},
      {"21:00:08..", {421'000'000, latest}},
      {"21:00:08", {421'000'000, 421'999'999}},
      {"21:00:08.25", {421'250'000, 421'259'999}},
      {"..21:00:08.000417", {0, 421'000'417}},
      {"21:00..21:01", {413'000'000, 532'999'999}},
      {"Nov 21 21:00:08..", {421'000'000, latest}},
      {"Dec 1 00:00..", {788'813'000'000, latest}},
      {"2026-11-21T21:00:08..2026-11-21 21:00:09", {421'000'000, 422'999'999}},
      {"2026-11-21T21:00:08Z..", {421'000'000, latest}},
      {"..2026-11-21T20:53:06", none}, // the clock of the records began a second later
      {"20:00..", {0, latest}},
      {"20:00", none},
      {"+2s..+1s", none},
      {"last 5s..last 10s", none},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(resolved(row.text), row.expected) << row.text;
  }
}

TEST(TimeRange, Nonsense_IsRefused) {
  for (const char* text : {"",
                           "..",
                           "9..3",
                           "a..b",
                           "1...3",
                           "-1..4",
                           "1..18446744073709551616",
                           " 1..2",
                           "+1.5",
                           "+s",
                           "+1.5.5s",
                           "+1.5us",
                           "+1.0000001s",
                           "+9999999999999999999s",
                           "last",
                           "last ",
                           "last 10",
                           "last ten s",
                           "1.5s",
                           "1.",
                           "1.0000001",
                           "18446744073709551615.0",
                           "24:00",
                           "8:15",
                           "08:60",
                           "08:15:60",
                           "08:15:02.",
                           "08:15:02.0000001",
                           "08:15x",
                           "Nox 21 08:15",
                           "Nov 21",
                           "Nov 32 08:15",
                           "Nov 21T08:15",
                           "2026-11-21",
                           "2026-13-01T00:00",
                           "26-11-21T08:15",
                           "2026-11-21T08:15+01",
                           "2.0..1.0"}) {
    EXPECT_THROW(resolved(text), std::invalid_argument) << text;
  }
}

TEST(TimeRange, SinceAndUntil_NarrowEachOther) {
  TimeRange range;
  EXPECT_TRUE(range.isAll());
  range.narrow("+1s..+9s");
  range.since("+3s");
  range.until("last 1s");
  EXPECT_FALSE(range.isAll());
  EXPECT_EQ(range.resolve(log), (Range{423'000'000, 429'000'000}));
}

TEST(TimeRange, WhatHasToBeKnown) {
  const struct {
    const char* text;
    bool fixed;
    bool last;
    bool calendar;
  } rows[] = {{"1..2.5", true, false, false},
              {"+1s..", false, false, false},
              {"..last 1s", false, true, false},
              {"last 1s", false, true, false},
              {"..08:15", false, false, true}};
  for (const auto& row : rows) {
    TimeRange range;
    range.narrow(row.text);
    EXPECT_EQ(range.isFixed(), row.fixed) << row.text;
    EXPECT_EQ(range.needsLast(), row.last) << row.text;
    EXPECT_EQ(range.needsCalendar(), row.calendar) << row.text;
  }
}

TEST(TimeRange, CalendarTimes_AreLocal) {
  const Zone zone("Europe/Berlin");
  EXPECT_EQ(resolved("22:00:08.."), (Range{421'000'000, latest}));
  EXPECT_EQ(resolved("21:00:08Z.."), (Range{421'000'000, latest}));
  EXPECT_EQ(resolved("Nov 21 22:00:08.."), (Range{421'000'000, latest}));
  EXPECT_THROW(resolved("2026-03-29T02:30.."), std::invalid_argument) << "summer time begins then";
  EXPECT_THROW(resolved("2026-02-29T12:00.."), std::invalid_argument);
}

TEST(TimeRange, CalendarTimesWithoutYear_AreNearTheFirstRecord) {
  const Zone zone("UTC");
  constexpr std::int64_t newYear = 1'798'761'600; // 2027
  const LogTimes before = {10'000'000, 0, profile::TimeSync{0, (newYear - 20) * 1'000'000'000}};
  EXPECT_EQ(resolved("Jan 1 00:00:01..", before), (Range{21'000'000, latest}));
  EXPECT_EQ(resolved("Dec 31 23:59:55..", before), (Range{15'000'000, latest}));
  const LogTimes after = {30'000'000, 0, before.sync};
  EXPECT_EQ(resolved("Dec 31 23:59:55..", after), (Range{15'000'000, latest}));
  EXPECT_EQ(resolved("23:59:55..", before), (Range{15'000'000, latest}));
}

// The calendar runs in microseconds, and what lies between them belongs to the one before.
TEST(TimeRange, ClocksThatDifferByPartsOfAMicrosecond) {
  const Zone zone("UTC");
  for (const std::int64_t nanoseconds : {0, 1, 999, -1, -999, 1'000}) {
    const profile::TimeSync sync{5'000'000'000, 1'700'000'000'000'000'000 + nanoseconds};
    const std::uint64_t stamp = 5'500'000;
    const std::uint64_t calendar = profile::wall_microseconds(stamp, sync);
    const std::uint64_t inMinute = (calendar - 1'699'999'980'000'000);
    const std::string text = fmt::format("22:13:{:02}.{:06}", inMinute / 1'000'000, inMinute % 1'000'000);
    EXPECT_EQ(resolved(text, {stamp, 0, sync}), (Range{stamp, stamp})) << nanoseconds;
  }
  // The clock of the records is ahead of the calendar, which shows 1.999999 s at 7 s.
  const profile::TimeSync ahead{10'000'000'001, 5'000'000'000};
  ASSERT_EQ(profile::wall_microseconds(7'000'000, ahead), 1'999'999U);
  EXPECT_EQ(resolved("1970-01-01T00:00:01.999999", {0, 0, ahead}), (Range{7'000'000, 7'000'000}));
}

TEST(TimeRange, CalendarTimes_NeedARelation) {
  EXPECT_THROW(resolved("08:15..", {1, 2, {}}), std::invalid_argument);
  EXPECT_EQ(resolved("+1s..", {1, 2, {}}), (Range{1'000'001, latest}));
}

} // namespace

} // namespace vel::sources
