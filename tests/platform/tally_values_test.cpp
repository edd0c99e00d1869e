// What the store keeps of scalars, and of keys and times in general.
#include "tally_fixture.h"

#include <chrono>
#include <limits>

using namespace vel::control;

namespace {

class TallyValues : public OpenTallyFile {};

constexpr auto kLeast = std::numeric_limits<std::int64_t>::min();
constexpr auto kMost = std::numeric_limits<std::int64_t>::max();

TEST_F(TallyValues, Scalar_IsSetAddedToAndCleared) {
  const Key one = key("one");
  TSClientSetValueForScalarKey(one.get(), -5);
  EXPECT_EQ(scalar("one"), -5);
  TSClientAddValueForScalarKey(one.get(), 7);
  EXPECT_EQ(scalar("one"), 2);
  TSClientAddValueForScalarKey(one.get(), -3);
  EXPECT_EQ(scalar("one"), -1);
  TSClientClearScalarKey(one.get());
  EXPECT_EQ(scalar("one"), 0);
  EXPECT_EQ(rows().size(), 1U);
}

struct Addition {
  const char* name;
  std::int64_t start, added, result;
  std::uint64_t overflows;
};

class TallyAddition : public TallyValues, public testing::WithParamInterface<Addition> {};

TEST_P(TallyAddition, StopsAtTheEndOfTheRange) {
  const auto& [name, start, added, result, overflows] = GetParam();
  TSClientSetValueForScalarKey(CFSTR("key"), start);
  TSClientAddValueForScalarKey(CFSTR("key"), added);
  EXPECT_EQ(scalar("key"), result);
  EXPECT_EQ(row("key", Kind::scalar).scalar.overflows, overflows);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, TallyAddition,
    testing::Values(Addition{"Most", kMost, 0, kMost, 0}, //
                    Addition{"OneTooMany", kMost, 1, kMost, 1}, Addition{"FarTooMany", kMost, kMost, kMost, 1},
                    Addition{"Least", kLeast + 1, -1, kLeast, 0}, Addition{"OneTooFew", kLeast, -1, kLeast, 1},
                    Addition{"FarTooFew", -2, kLeast, kLeast, 1}, Addition{"BothEnds", kMost, kLeast, -1, 0}),
    [](const auto& info) { return info.param.name; });

TEST_F(TallyValues, Overflows_AddUpUntilTheClear) {
  add("key", kMost);
  add("key", 1);
  add("key", 1);
  EXPECT_EQ(row("key", Kind::scalar).scalar.overflows, 2U);
  add("key", -1);
  EXPECT_EQ(scalar("key"), kMost - 1);
  TSClientClearScalarKey(CFSTR("key"));
  EXPECT_EQ(row("key", Kind::scalar).scalar.overflows, 0U);
}

// --- keys

TEST_F(TallyValues, OneKey_NamesAScalarAndADistribution) {
  push("key", 16 * 0x1p-16, 2);
  add("key", 3);
  EXPECT_EQ(rows().size(), 2U);
  EXPECT_EQ(rows()[0].kind, Kind::scalar);
  EXPECT_EQ(scalar("key"), 3);
  EXPECT_EQ(distribution("key").count, 2U);
  EXPECT_EQ(distribution("key").mean, 0.000244140625);
  TSClientClearScalarKey(CFSTR("key"));
  EXPECT_EQ(distribution("key").count, 2U);
}

TEST_F(TallyValues, Keys_AreAnyText) {
  const std::vector<std::string> names = {"",
                                          " ",
                                          "%s'\";--\n",
                                          "Gr\xC3\xB6\xC3\x9F"
                                          "e",
                                          "\xF0\x9F\x94\x98",
                                          std::string(5000, 'k')};
  for (const std::string& name : names) {
    add(name, static_cast<std::int64_t>(name.size()));
  }
  for (const std::string& name : names) {
    EXPECT_EQ(scalar(name), static_cast<std::int64_t>(name.size())) << name;
  }
  EXPECT_EQ(rows().size(), names.size());
}

TEST_F(TallyValues, NullKey_CountsNothing) {
  TSClientClearScalarKey(nullptr);
  TSClientSetValueForScalarKey(nullptr, 1);
  TSClientAddValueForScalarKey(nullptr, 1);
  TSClientClearDistributionKey(nullptr);
  TSClientSetValueForDistributionKey(nullptr, 1);
  TSClientPushValueForDistributionKey(nullptr, 1);
  EXPECT_TRUE(rows().empty());
}

TEST_F(TallyValues, MoreKeysThanAreKeptInMemory_AreAllInTheFile) {
  for (int round = 0; round < 3; ++round) {
    beginTallyBatch();
    for (int i = 0; i < 6000; ++i) {
      add("key" + std::to_string(i), 1);
      push("key" + std::to_string(i), 1);
    }
    endTallyBatch();
  }
  EXPECT_EQ(sql(path, "SELECT count(*), min(value), max(value), min(count), max(count) FROM tally"), "12000|3|3|3|3\n");
}

// --- times

TEST_F(TallyValues, Times_AreOfFirstSampleLastChangeAndLastClear) {
  const auto times = [this](const std::string& name, Kind kind) {
    const Row one = row(name, kind);
    return std::vector{one.firstSample.value_or(-1), one.lastChange.value_or(-1), one.lastClear.value_or(-1)};
  };
  using Times = std::vector<std::int64_t>;
  for (const Kind kind : {Kind::scalar, Kind::distribution}) {
    const bool isScalar = kind == Kind::scalar;
    const auto clear = isScalar ? TSClientClearScalarKey : TSClientClearDistributionKey;
    const auto change = [&](bool set) {
      if (isScalar) {
        set ? TSClientSetValueForScalarKey(CFSTR("key"), 1) : TSClientAddValueForScalarKey(CFSTR("key"), 1);
      } else {
        set ? TSClientSetValueForDistributionKey(CFSTR("key"), 1)
            : TSClientPushValueForDistributionKey(CFSTR("key"), 1);
      }
    };
    setTallyTime(10);
    change(false);
    EXPECT_EQ(times("key", kind), (Times{10, 10, -1}));
    setTallyTime(20);
    change(false);
    EXPECT_EQ(times("key", kind), (Times{10, 20, -1}));
    setTallyTime(30);
    clear(CFSTR("key"));
    EXPECT_EQ(times("key", kind), (Times{-1, 20, 30}));
    setTallyTime(40);
    change(false);
    EXPECT_EQ(times("key", kind), (Times{40, 40, 30}));
    setTallyTime(50);
    change(true); // a distribution holds only the sample that was set
    EXPECT_EQ(times("key", kind), isScalar ? (Times{40, 50, 30}) : (Times{50, 50, 30}));
    setTallyTime(60);
    clear(CFSTR("new"));
    EXPECT_EQ(times("new", kind), (Times{-1, -1, 60}));
  }
}

TEST_F(TallyValues, Times_AreTheSystems) {
  const auto now = [] {
    return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::system_clock::now().time_since_epoch())
        .count();
  };
  const std::int64_t before = now();
  add("key", 1);
  const std::int64_t after = now();
  EXPECT_GE(row("key", Kind::scalar).lastChange, before);
  EXPECT_LE(row("key", Kind::scalar).lastChange, after);
}

TEST_F(TallyValues, View_ShowsReadableTimes) {
  setTallyTime(1'700'000'000'123'456);
  add("key", 4);
  EXPECT_EQ(sql(path, "SELECT key, kind, value, overflows, first_sample, last_change, last_clear FROM tally"),
            "key|scalar|4|0|2023-11-14T22:13:20.123Z|2023-11-14T22:13:20.123Z|\n");
}

} // namespace
