// Slices of one track, in the order of their ends.
#include <velstat/trace/nested_slices.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace {

using vel::stat::NestedSlices;
using vel::stat::Slice;

using Times = std::pair<std::uint64_t, std::uint64_t>;

std::vector<Times> shown(std::initializer_list<Times> slices) {
  NestedSlices track;
  std::vector<Times> result;
  for (const auto& [begin, end] : slices) {
    const Slice slice = track.add({begin, end});
    result.emplace_back(slice.begin, slice.end);
  }
  return result;
}

TEST(NestedSlices, ThatNestStayAsTheyAre) {
  EXPECT_EQ(shown({{10, 20}, {25, 30}, {5, 40}, {40, 50}, {0, 60}}),
            (std::vector<Times>{{10, 20}, {25, 30}, {5, 40}, {40, 50}, {0, 60}}));
  EXPECT_EQ(shown({{10, 10}, {10, 10}, {10, 20}, {10, 20}}),
            (std::vector<Times>{{10, 10}, {10, 10}, {10, 20}, {10, 20}}));
}

TEST(NestedSlices, ThatOverlapInPartBeginAtTheNearerEdge) {
  EXPECT_EQ(shown({{10, 100}, {12, 110}}).back(), Times(10, 110));  // its caller
  EXPECT_EQ(shown({{10, 100}, {98, 110}}).back(), Times(100, 110)); // the next call
  EXPECT_EQ(shown({{10, 20}, {30, 100}, {32, 110}}).back(), Times(30, 110));
}

TEST(NestedSlices, ThatEndTooEarlyEndWithTheLastOne) {
  EXPECT_EQ(shown({{10, 100}, {40, 90}}).back(), Times(10, 100));
  EXPECT_EQ(shown({{50, 100}, {10, 20}}).back(), Times(10, 100));
}

bool nests(const std::vector<Slice>& slices) {
  for (std::size_t i = 0; i < slices.size(); ++i) {
    for (std::size_t j = 0; j < i; ++j) {
      const Slice& a = slices[j];
      const Slice& b = slices[i];
      const bool apart = a.end <= b.begin || b.end <= a.begin;
      const bool inside = (b.begin <= a.begin && a.end <= b.end) || (a.begin <= b.begin && b.end <= a.end);
      if (!apart && !inside) {
        return false;
      }
    }
  }
  return true;
}

TEST(NestedSlices, OfAnyTimesNest) {
  std::mt19937_64 random(1);
  for (int round = 0; round < 200; ++round) {
    NestedSlices track;
    std::vector<Slice> slices;
    std::uint64_t now = 1000;
    for (int i = 0; i < 200; ++i) {
      now += random() % 20;
      const std::uint64_t end = now - random() % 8;
      const std::uint64_t length = random() % (i % 10 == 0 ? 900 : 30);
      const Slice wanted{end - std::min(length, end), end};
      const bool changes = track.wouldChange(wanted);
      const Slice slice = track.add(wanted);
      EXPECT_EQ(changes, slice.begin != wanted.begin || slice.end != wanted.end);
      slices.push_back(slice);
    }
    ASSERT_TRUE(nests(slices)) << "round " << round;
  }
}

TEST(NestedSlices, OfMoreCallsThanAreRememberedNest) {
  for (std::uint64_t begin = 100; begin < 1100; ++begin) {
    NestedSlices track;
    std::vector<Slice> slices;
    for (std::uint64_t call = 0; call < 100; ++call) {
      slices.push_back(track.add({100 + call * 10, 107 + call * 10}));
    }
    slices.push_back(track.add({begin, 2000}));
    ASSERT_TRUE(nests(slices)) << "begins at " << begin;
  }
}

TEST(NestedSlices, OfManyCallsFitTheirCaller) {
  NestedSlices track;
  for (std::uint64_t call = 0; call < 1000; ++call) {
    track.add({100 + call * 10, 105 + call * 10});
  }
  const Slice caller = track.add({90, 20000});
  EXPECT_EQ(caller.begin, 90U);
}

} // namespace
