// Ranges of fields: percentiles, what is outside, and what follows a clock.
#include <velstat/diff/field_range.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace {

using vel::stat::FieldRange;
using vel::stat::hasLeft;

FieldRange rangeOf(const std::vector<double>& values) {
  FieldRange range;
  for (const double value : values) {
    range.add(value, 0);
  }
  return range;
}

std::vector<double> repeated(const std::vector<double>& values, std::size_t times) {
  std::vector<double> all;
  for (std::size_t i = 0; i < times; ++i) {
    all.insert(all.end(), values.begin(), values.end());
  }
  return all;
}

TEST(FieldRange, EndsAreExact_AndPercentilesToASixteenth) {
  std::mt19937 random(1);
  for (const double scale : {1e-3, 1.0, 4e9, 1.8e19}) {
    for (const double shift : {0.0, -0.5, -1.0}) {
      std::vector<double> values(1001);
      for (std::size_t i = 0; i < values.size(); ++i) {
        values[i] = scale * (shift + static_cast<double>(i) / 1000);
      }
      std::vector<double> shuffled = values;
      std::shuffle(shuffled.begin(), shuffled.end(), random);
      const FieldRange range = rangeOf(shuffled);
      EXPECT_EQ(range.min(), values.front());
      EXPECT_EQ(range.max(), values.back());
      EXPECT_EQ(range.count(), values.size());
      for (const std::size_t place : {0U, 100U, 500U, 900U, 1000U}) {
        const double exact = values[place];
        EXPECT_NEAR(range.percentile(static_cast<double>(place) / 1001), exact, std::fabs(exact) / 16 + scale * 1e-12)
            << scale << ' ' << shift << ' ' << place;
      }
    }
  }
}

TEST(FieldRange, OfNoValues) {
  const FieldRange range;
  EXPECT_EQ(range.count(), 0U);
  EXPECT_EQ(range.percentile(0.5), 0);
  EXPECT_EQ(range.outside(1, 2), 0U);
  EXPECT_FALSE(range.followsClock());
}

TEST(FieldRange, CountsWhatIsOutside) {
  const FieldRange range = rangeOf({-100, -10, 0, 10, 100, 1000});
  const struct {
    double least;
    double most;
    std::uint64_t outside;
  } rows[] = {{-100, 1000, 0}, {-50, 1000, 1}, {0, 1000, 2},   {-50, 500, 2},
              {20, 50, 6},     {99, 1000, 4},  {2000, 3000, 6}};
  for (const auto& row : rows) {
    EXPECT_EQ(range.outside(row.least, row.most), row.outside) << row.least << ' ' << row.most;
  }
}

TEST(FieldRange, LeavesWhenATenthAndThreeAreFarOutside) {
  const std::vector<double> old = repeated({10, 20}, 12);
  const struct {
    const char* name;
    std::vector<double> old;
    std::vector<double> current;
    bool left;
  } rows[] = {
      {"the same", old, old, false},
      {"within half the width", old, {24, 24, 24, 24, 6, 6, 6, 6}, false},
      {"beyond", old, {32, 32, 32}, true},
      {"below", old, {1, 1, 1}, true},
      {"two of two", old, {99, 99}, false},
      {"three of thirty", old, repeated({10, 11, 12, 13, 14, 15, 16, 17, 18, 99}, 3), true},
      {"three of thirty-one", old,
       [] {
         auto values = repeated({10, 11, 12, 13, 14, 15, 16, 17, 18, 99}, 3);
         values.push_back(15);
         return values;
       }(),
       false},
      {"a constant that changed", repeated({1}, 24), repeated({0}, 3), true},
      {"too few old ones", repeated({1}, 23), repeated({0}, 30), false},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(hasLeft(rangeOf(row.old), rangeOf(row.current)), row.left) << row.name;
  }
}

TEST(FieldRange, TimesAndCountersFollowTheClock) {
  const struct {
    const char* name;
    std::uint64_t (*value)(std::uint64_t time, std::uint64_t i);
    std::uint64_t start;
    bool follows;
  } rows[] = {
      {"the time", [](std::uint64_t time, std::uint64_t) { return time; }, 5'000'000'000, true},
      {"its low bits", [](std::uint64_t time, std::uint64_t) { return time & 0xffffffff; }, (1ULL << 32) - 5000, true},
      {"a moment before", [](std::uint64_t time, std::uint64_t i) { return time - (i * 7919 % 9'000'000); }, 1ULL << 40,
       true},
      {"eleven seconds before", [](std::uint64_t time, std::uint64_t i) { return time - 11'000'000 - i * 7919 % 5000; },
       1ULL << 40, false},
      {"a counter", [](std::uint64_t, std::uint64_t i) { return i / 10; }, 0, true},
      {"a counter of 8 bits", [](std::uint64_t, std::uint64_t i) { return i & 255; }, 0, true},
      {"a counter of 3 bits", [](std::uint64_t, std::uint64_t i) { return i & 7; }, 0, false},
      {"falling", [](std::uint64_t, std::uint64_t i) { return 10'000 - i; }, 0, false},
      {"a constant", [](std::uint64_t, std::uint64_t) { return std::uint64_t{7}; }, 0, false},
      {"small numbers just after the start", [](std::uint64_t, std::uint64_t i) { return i * 7919 % 100; }, 0, false},
  };
  for (const auto& row : rows) {
    FieldRange range;
    for (std::uint64_t i = 0; i < 1000; ++i) {
      const std::uint64_t time = row.start + i * 10;
      range.add(static_cast<double>(row.value(time, i)), time);
    }
    EXPECT_EQ(range.followsClock(), row.follows) << row.name;
  }
}

} // namespace
