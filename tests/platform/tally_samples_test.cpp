// The packed samples of a distribution as another program could have written them, and counts that need more than 32
// bits.
#include "tally_fixture.h"

#include <bit>
#include <cmath>
#include <initializer_list>
#include <limits>
#include <utility>

using namespace vel::control;

namespace {

// Packed numbers as hex digits, for SQL.
std::string byteInHex(std::uint64_t byte) {
  constexpr char digits[] = "0123456789abcdef";
  return {digits[byte >> 4 & 0xF], digits[byte & 0xF]};
}
std::string numberInHex(double number) {
  std::string hex;
  for (int i = 0; i < 8; ++i) {
    hex += byteInHex(std::bit_cast<std::uint64_t>(number) >> (8 * i));
  }
  return hex;
}
std::string countInHex(std::uint64_t count) {
  std::string hex;
  for (; count >= 0x80; count >>= 7) {
    hex += byteInHex(0x80 | count);
  }
  return hex + byteInHex(count);
}

struct Slot {
  std::string place;
  std::uint64_t weight;
};
Slot value(double value, std::uint64_t weight = 1) {
  return {numberInHex(value), weight};
}
// `step` buckets above the one before, the first above a place just below the lowest bucket.
Slot bucket(std::uint64_t step, std::uint64_t weight = 1) {
  return {countInHex(step), weight};
}

enum class Kept { exactly, inBuckets };

// What is packed before the slots, as a store writes it whose only samples are ones.
struct Moments {
  std::uint64_t count = 0; // of the samples before the run
  double sum = 0;
  double lost = 0;
  double mean = 0;
  double squares = 0;
  double run = 1;
  std::uint64_t runWeight = 1;
  double min = 1;
  double max = 1;
};

std::string packed(const Moments& moments, Kept kept, const std::vector<Slot>& slots) {
  std::string hex = countInHex(moments.count);
  for (const double number : {moments.sum, moments.lost, moments.mean, moments.squares, moments.run}) {
    hex += numberInHex(number);
  }
  hex += countInHex(moments.runWeight) + numberInHex(moments.min) + numberInHex(moments.max);
  hex += countInHex(kept == Kept::exactly ? 0 : 1) + countInHex(slots.size());
  for (const Slot& slot : slots) {
    hex += slot.place + countInHex(slot.weight);
  }
  return hex;
}
// One run, as often as the slots count.
std::string packed(Kept kept, const std::vector<Slot>& slots) {
  std::uint64_t weight = 0;
  for (const Slot& slot : slots) {
    weight += slot.weight;
  }
  return packed({.runWeight = weight}, kept, slots);
}

class TallySamples : public OpenTallyFile {
protected:
  void SetUp() override {
    OpenTallyFile::SetUp();
    push("key", 1);
  }
  // What reading the store fails with; empty for nothing.
  std::string readError() {
    return errorOf([&] { rows(); });
  }
  void setSamples(std::uint64_t count, const std::string& hex) {
    sql(path, "UPDATE distribution SET count = " + std::to_string(count) + ", samples = x'" + hex + "'");
  }
};

constexpr std::uint64_t kLast = 57'000; // buckets are numbered from -kLast
constexpr std::uint64_t kZero = kLast + 1;
constexpr std::uint64_t kSmallest = 2'000; // between it and the zeros there are none
constexpr std::uint64_t kMostSamples = std::uint64_t{1} << 62;

constexpr char kUnreadable[] = ": damaged (key: its samples cannot be read)";

struct PackedSamples {
  const char* name;
  Kept kept;
  std::vector<Slot> slots;
  bool isRead;
};

class TallyPackedSamples : public TallySamples, public testing::WithParamInterface<PackedSamples> {};

TEST_P(TallyPackedSamples, AreReadIfTheStoreCouldHaveWrittenThem) {
  std::uint64_t count = 0;
  for (const Slot& slot : GetParam().slots) {
    count += slot.weight;
  }
  setSamples(count % (kMostSamples * 2), packed(GetParam().kept, GetParam().slots));
  if (GetParam().isRead) {
    EXPECT_EQ(distribution("key").count, count);
  } else {
    EXPECT_EQ(readError(), path.string() + kUnreadable);
  }
}

std::vector<Slot> values(int count) {
  std::vector<Slot> slots;
  for (int i = 0; i < count; ++i) {
    slots.push_back(value(i));
  }
  return slots;
}

INSTANTIATE_TEST_SUITE_P(
    Rows, TallyPackedSamples,
    testing::Values(
        PackedSamples{"TwoValues", Kept::exactly, {value(1), value(2, 300)}, true},
        PackedSamples{"MostValues", Kept::exactly, values(64), true},
        PackedSamples{"OneValueTooMany", Kept::exactly, values(65), false},
        PackedSamples{"SameValueTwice", Kept::exactly, {value(1), value(1)}, false},
        PackedSamples{"ValuesNotInOrder", Kept::exactly, {value(2), value(1)}, false},
        PackedSamples{"LargestValues", Kept::exactly, {value(-1e140), value(1e140)}, true},
        PackedSamples{"ValueTooLarge", Kept::exactly, {value(std::nextafter(1e140, 1e141))}, false},
        PackedSamples{"ValueTooLargeBelowZero", Kept::exactly, {value(std::nextafter(-1e140, -1e141))}, false},
        PackedSamples{"NoNumber", Kept::exactly, {value(std::numeric_limits<double>::quiet_NaN())}, false},
        PackedSamples{"ValueThatNeverCame", Kept::exactly, {value(1), value(2, 0)}, false},
        PackedSamples{"MostSamples", Kept::exactly, {value(1, kMostSamples - 1), value(2)}, true},
        PackedSamples{"OneSampleTooMany", Kept::exactly, {value(1, kMostSamples), value(2)}, false},
        PackedSamples{"FarTooManySamples", Kept::exactly, {value(1, kMostSamples), value(2, kMostSamples)}, false},
        PackedSamples{"LowestBucket", Kept::inBuckets, {bucket(1)}, true},
        PackedSamples{"HighestBucket", Kept::inBuckets, {bucket(1), bucket(2 * kLast)}, true},
        PackedSamples{"HighestBucketOnly", Kept::inBuckets, {bucket(2 * kLast + 1)}, true},
        PackedSamples{"BelowTheLowestBucket", Kept::inBuckets, {bucket(0)}, false},
        PackedSamples{"AboveTheHighestBucket", Kept::inBuckets, {bucket(2 * kLast + 2)}, false},
        PackedSamples{"OneAboveTheHighestBucket", Kept::inBuckets, {bucket(1), bucket(2 * kLast + 1)}, false},
        PackedSamples{
            "FarAboveTheHighestBucket", Kept::inBuckets, {bucket(2 * kLast), bucket(kMostSamples * 2 - 1)}, false},
        PackedSamples{"SameBucketTwice", Kept::inBuckets, {bucket(1), bucket(0)}, false},
        PackedSamples{"BucketOfZeros", Kept::inBuckets, {bucket(kZero)}, true},
        PackedSamples{
            "BucketsNextToTheZeros", Kept::inBuckets, {bucket(kZero - kSmallest), bucket(2 * kSmallest)}, true},
        PackedSamples{"BucketThatNoPositiveSampleHas", Kept::inBuckets, {bucket(kZero + kSmallest - 1)}, false},
        PackedSamples{"BucketThatNoNegativeSampleHas", Kept::inBuckets, {bucket(kZero - kSmallest + 1)}, false},
        PackedSamples{"BucketThatIsEmpty", Kept::inBuckets, {bucket(1), bucket(1, 0)}, false},
        PackedSamples{"BucketsWithTooManySamples", Kept::inBuckets, {bucket(1, kMostSamples), bucket(1)}, false}),
    [](const auto& info) { return info.param.name; });

struct PackedMoments {
  const char* name;
  Moments moments;
  bool isRead;
};

class TallyPackedMoments : public TallySamples, public testing::WithParamInterface<PackedMoments> {};

TEST_P(TallyPackedMoments, AreReadIfEveryNumberStaysFinite_AndTheCountsAgree) {
  const Moments& moments = GetParam().moments;
  setSamples(moments.count + moments.runWeight, packed(moments, Kept::exactly, {value(1)}));
  EXPECT_EQ(readError(), GetParam().isRead ? "" : path.string() + kUnreadable);
}

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kLargestSum = 1e140 * 1e20;
constexpr double kLargestSquares = 1e300;
double beyond(double number) {
  return std::nextafter(number, number * 2);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, TallyPackedMoments,
    testing::Values(PackedMoments{"OneRun", {}, true}, //
                    PackedMoments{"NoRun", {.count = 1, .runWeight = 0}, true},
                    PackedMoments{"LessThanTheSlotsCount", {.runWeight = 0}, false},
                    PackedMoments{"MoreThanTheSlotsCount", {.runWeight = 2}, false},
                    PackedMoments{"MoreBeforeTheRunThanTheSlotsCount", {.count = 1}, false},
                    PackedMoments{"LargestSum", {.sum = kLargestSum}, true},
                    PackedMoments{"SumTooLarge", {.sum = beyond(kLargestSum)}, false},
                    PackedMoments{"SumTooLargeBelowZero", {.sum = beyond(-kLargestSum)}, false},
                    PackedMoments{"SumIsNoNumber", {.sum = kNaN}, false},
                    PackedMoments{"LargestLoss", {.lost = -kLargestSum}, true},
                    PackedMoments{"LossTooLarge", {.lost = beyond(kLargestSum)}, false},
                    PackedMoments{"LossTooLargeBelowZero", {.lost = beyond(-kLargestSum)}, false},
                    PackedMoments{"LossIsNoNumber", {.lost = kNaN}, false},
                    PackedMoments{"LargestSquares", {.squares = kLargestSquares}, true},
                    PackedMoments{"SquaresTooLarge", {.squares = beyond(kLargestSquares)}, false},
                    PackedMoments{"SquaresBelowZero", {.squares = -std::numeric_limits<double>::denorm_min()}, false},
                    PackedMoments{"SquaresAreNoNumber", {.squares = kNaN}, false},
                    PackedMoments{"MeanTooLarge", {.mean = beyond(1e140)}, false},
                    PackedMoments{"RunTooLarge", {.run = beyond(-1e140)}, false},
                    PackedMoments{"LeastAndMost", {.min = -1e140, .max = 1e140}, true},
                    PackedMoments{"MinTooSmall", {.min = beyond(-1e140)}, false},
                    PackedMoments{"MaxTooLarge", {.max = beyond(1e140)}, false},
                    PackedMoments{"MinAboveMax", {.min = std::nextafter(1.0, 2.0)}, false}),
    [](const auto& info) { return info.param.name; });

TEST_F(TallySamples, CountsBeyond32Bits_AreKept) {
  constexpr std::uint64_t most = std::numeric_limits<std::uint32_t>::max();
  add("key", std::numeric_limits<std::int64_t>::max());
  sql(path, "UPDATE scalar SET overflows = " + std::to_string(most));
  sql(path, "UPDATE distribution SET ignored = " + std::to_string(most));
  setSamples(most, packed(Kept::exactly, {value(1, most)}));
  add("key", 1);
  push("key", 1);
  push("key", std::numeric_limits<double>::infinity());
  EXPECT_EQ(row("key", Kind::scalar).scalar.overflows, most + 1);
  EXPECT_EQ(distribution("key").count, most + 1);
  EXPECT_EQ(distribution("key").ignored, most + 1);
  EXPECT_EQ(distribution("key").sum, static_cast<double>(most + 1));
}

constexpr std::uint64_t kMostCounted = std::numeric_limits<std::int64_t>::max();
constexpr char kFull[] = ": key: cannot count any further: use a new store";

struct FullCount {
  const char* name;
  std::string statement;
};

class TallyFullCounts : public TallySamples, public testing::WithParamInterface<FullCount> {};

TEST_P(TallyFullCounts, AreReportedBeforeTheStoreIsWrittenTo) {
  add("key", 1);
  sql(path, GetParam().statement);
  closeTallyStore();
  const std::string before = contentOf(path);
  EXPECT_EQ(rows().size(), 2U);
  EXPECT_EQ(errorOf([&] { openTallyStore(path); }), path.string() + kFull);
  EXPECT_EQ(contentOf(path), before);
  EXPECT_EQ(files(), std::vector<std::string>{"tally.sqlite"});
}

INSTANTIATE_TEST_SUITE_P(
    Rows, TallyFullCounts,
    testing::Values(FullCount{"Overflows", "UPDATE scalar SET overflows = " + std::to_string(kMostCounted)},
                    FullCount{"Ignored", "UPDATE distribution SET ignored = " + std::to_string(kMostCounted)},
                    FullCount{"Samples", "UPDATE distribution SET count = " + std::to_string(kMostSamples) +
                                             ", samples = x'" + packed(Kept::exactly, {value(1, kMostSamples)}) + "'"}),
    [](const auto& info) { return info.param.name; });

// A batch that would lead a count, or a sum, to where it could not be read again is dropped whole.
class TallyNearlyFull : public TallySamples {
protected:
  // Two batches: the first is written, the second is not.
  template <class Operation>
  void expectRoomForOne(Operation operation) {
    openTallyStore(path);
    beginTallyBatch();
    operation();
    EXPECT_EQ(errorOf(endTallyBatch), "");
    const auto full = rows();
    beginTallyBatch();
    add("other", 1);
    operation();
    EXPECT_EQ(errorOf(endTallyBatch), path.string() + kFull);
    EXPECT_EQ(rows().size(), full.size());
    // What clears the key makes room again.
    beginTallyBatch();
    TSClientClearScalarKey(key("key").get());
    TSClientClearDistributionKey(key("key").get());
    operation();
    EXPECT_EQ(errorOf(endTallyBatch), "");
    EXPECT_EQ(readError(), "");
  }
};

TEST_F(TallyNearlyFull, OneOverflowMore) {
  add("key", std::numeric_limits<std::int64_t>::max());
  sql(path, "UPDATE scalar SET overflows = " + std::to_string(kMostCounted - 1));
  expectRoomForOne([] { add("key", 1); });
  EXPECT_EQ(scalar("key"), 1);
}

TEST_F(TallyNearlyFull, OneIgnoredSampleMore) {
  sql(path, "UPDATE distribution SET ignored = " + std::to_string(kMostCounted - 1));
  expectRoomForOne([] { push("key", std::numeric_limits<double>::quiet_NaN()); });
}

TEST_F(TallyNearlyFull, OneSampleMore) {
  setSamples(kMostSamples - 1, packed(Kept::exactly, {value(1, kMostSamples - 1)}));
  expectRoomForOne([] { push("key", 1); });
}

TEST_F(TallyNearlyFull, SumThatIsAsLargeAsItMayBe) {
  constexpr std::uint64_t many = std::uint64_t{1} << 40;
  setSamples(many, packed({.sum = kLargestSum, .run = 1e140, .runWeight = many, .max = 1e140}, Kept::exactly,
                          {value(1e140, many)}));
  // The first sample lengthens the last run, the second ends it: only then does the run enter the sum.
  expectRoomForOne([sample = 1e140]() mutable { push("key", std::exchange(sample, 1)); });
}

} // namespace
