// Times of records on the axis of a trace.
#include <velstat/trace/time_axis.h>

#include <gtest/gtest.h>

namespace {

using vel::sources::Run;
using vel::stat::TimeAxis;

constexpr std::uint64_t day = 86'400'000'000;

// An axis on which a run was shown from `first` to `last`.
TimeAxis after(std::uint64_t first, std::uint64_t last) {
  TimeAxis axis;
  EXPECT_EQ(axis.beginRun(Run::Start::first, first), 0U);
  EXPECT_EQ(axis.place(first, 0), first);
  EXPECT_EQ(axis.place(last, 0), last);
  return axis;
}

TEST(TimeAxis, GoesOnAfterARestartInWholeSeconds) {
  TimeAxis axis = after(5'000'000, 65'300'000);
  const std::uint64_t shift = axis.beginRun(Run::Start::restarted, 1'500'000);
  EXPECT_EQ(shift, 64'000'000U);
  EXPECT_EQ(axis.place(1'500'000, shift), 65'500'000U);
}

TEST(TimeAxis, IsSharedByLogsThatRestartTogether) {
  TimeAxis axis = after(5'000'000, 65'300'000);
  const std::uint64_t shift = axis.beginRun(Run::Start::restarted, 1'500'000);
  axis.place(1'500'000, shift);
  EXPECT_EQ(axis.beginRun(Run::Start::restarted, 4'200'000), shift);
}

TEST(TimeAxis, IsNotMovedByRestartsOfNumbersOnly) {
  TimeAxis axis = after(5'000'000, 65'300'000);
  EXPECT_EQ(axis.beginRun(Run::Start::restarted, 65'400'000), 0U);
  EXPECT_EQ(axis.beginRun(Run::Start::restarted, 64'900'000), 0U); // a little out of order
}

TEST(TimeAxis, StartsAnewForAnotherInput) {
  TimeAxis axis = after(5'000'000, 65'300'000);
  axis.beginRun(Run::Start::restarted, 1'000'000);
  EXPECT_EQ(axis.beginRun(Run::Start::first, 7'000'000), 0U);
}

TEST(TimeAxis, IsNotMovedByOneDamagedTime) {
  TimeAxis axis = after(5'000'000, 65'300'000);
  EXPECT_EQ(axis.place(400 * day, 0), 400 * day);
  EXPECT_EQ(axis.beginRun(Run::Start::restarted, 65'400'000), 0U);
}

TEST(TimeAxis, HasRoomForDaysOfSleep) {
  TimeAxis axis = after(5'000'000, 400 * day);
  axis.place(400 * day + 5, 0);
  EXPECT_GE(axis.beginRun(Run::Start::restarted, 1'000'000), 400 * day - 1'000'000);
}

TEST(TimeAxis, EndsWhereDoublesDo) {
  TimeAxis axis;
  axis.beginRun(Run::Start::first, 0);
  EXPECT_EQ(axis.place(TimeAxis::longest, 0), TimeAxis::longest);
  EXPECT_EQ(axis.place(TimeAxis::longest + 1, 0), std::nullopt);
  EXPECT_EQ(axis.place(~std::uint64_t{0}, 0), std::nullopt);
  EXPECT_EQ(axis.place(TimeAxis::longest, 1), std::nullopt);
}

TEST(TimeAxis, IsNotMovedBeyondItsEnd) {
  TimeAxis axis = after(0, 1);
  axis.place(TimeAxis::longest, 0);
  axis.place(TimeAxis::longest, 0);
  EXPECT_EQ(axis.beginRun(Run::Start::restarted, 5), 0U);
}

} // namespace
