// Records of captures: once each, in order, in runs between restarts.
#include <sources/order.h>
#include <support/record_files.h>

#include <gmock/gmock.h>

#include <utility>

namespace vel::sources {

namespace {

using testing::ElementsAre;

struct Item {
  std::uint32_t number;
  std::uint64_t time;

  bool operator==(const Item&) const = default;
};

struct Batch {
  const char* log;
  std::vector<Item> items;
};

RecordsInOrder order(const std::vector<Batch>& batches, bool all = false) {
  std::vector<CapturedRecord> records;
  std::vector<std::string> logs;
  for (std::size_t b = 0; b < batches.size(); ++b) {
    const auto known = std::find(logs.begin(), logs.end(), batches[b].log);
    const auto log = static_cast<std::uint32_t>(known - logs.begin());
    if (known == logs.end()) {
      logs.emplace_back(batches[b].log);
    }
    for (const Item& item : batches[b].items) {
      CapturedRecord captured;
      const Bytes bytes = record(item.number, {}, item.time);
      std::copy(bytes.begin(), bytes.end(), captured.bytes.begin());
      captured.log = log;
      captured.batch = static_cast<std::uint32_t>(b);
      records.push_back(captured);
    }
  }
  return putInOrder(std::move(records), logs, all);
}

std::vector<std::uint32_t> numbers(const RecordsInOrder& result) {
  std::vector<std::uint32_t> found;
  for (const CapturedRecord& captured : result.records) {
    found.push_back(sequenceNumber(captured.bytes.data()));
  }
  return found;
}

std::vector<std::uint32_t> runs(const RecordsInOrder& result) {
  std::vector<std::uint32_t> found;
  for (const CapturedRecord& captured : result.records) {
    found.push_back(captured.details.run);
  }
  return found;
}

constexpr std::uint64_t second = 1'000'000;

TEST(Order, OverlappingBatches_GiveEachRecordOnce) {
  const std::vector<Batch> batches = {{"fw", {{1, 10}, {2, 20}, {3, 30}}}, {"fw", {{2, 20}, {3, 30}, {4, 40}}}};
  const RecordsInOrder result = order(batches);
  EXPECT_THAT(numbers(result), ElementsAre(1, 2, 3, 4));
  ASSERT_EQ(result.runs.size(), 1U);
  EXPECT_EQ(result.runs[0].records, 4U);
  EXPECT_EQ(result.runs[0].log, "fw");
  EXPECT_EQ(result.runs[0].firstTime, 10U);
  EXPECT_EQ(result.runs[0].lastTime, 40U);
  EXPECT_EQ(result.runs[0].lastSequence, 4U);
  EXPECT_THAT(numbers(order(batches, true)), ElementsAre(1, 2, 3, 2, 3, 4));
}

TEST(Order, BatchesInAnyOrder_AreOrderedByTime) {
  const RecordsInOrder result =
      order({{"fw", {{7, 70 * second}, {8, 80 * second}}}, {"fw", {{1, 10 * second}, {2, 20 * second}}}});
  EXPECT_THAT(numbers(result), ElementsAre(1, 2, 7, 8));
  EXPECT_THAT(runs(result), ElementsAre(0, 0, 0, 0));
  EXPECT_EQ(result.runs[0].gaps, 1U);
  EXPECT_EQ(result.runs[0].missing, 4U);
  EXPECT_EQ(result.records[2].details.missing, 4U);
  EXPECT_EQ(result.records[3].details.missing, 0U);
}

TEST(Order, LogsLieInEachOther_AndCountTheirOwnNumbers) {
  const RecordsInOrder result =
      order({{"fw", {{1, 10 * second}, {2, 30 * second}}}, {"kext", {{1, 20 * second}, {2, 40 * second}}}});
  EXPECT_THAT(numbers(result), ElementsAre(1, 1, 2, 2));
  EXPECT_THAT(runs(result), ElementsAre(0, 1, 0, 1));
  EXPECT_EQ(result.runs[1].start, Run::Start::first);
  EXPECT_EQ(result.runs[0].gaps + result.runs[1].gaps, 0U);
}

// As property lists on their own.
TEST(Order, LogsWithoutNames_AreToldApartByTheirNumbers) {
  const RecordsInOrder result = order({{"", {{1, 10 * second}, {2, 30 * second}}},
                                       {"", {{1, 20 * second}, {2, 40 * second}}},
                                       {"", {{3, 50 * second}, {4, 51 * second}}}});
  EXPECT_THAT(numbers(result), ElementsAre(1, 1, 2, 2, 3, 4));
  EXPECT_EQ(result.runs.size(), 2U);
}

TEST(Order, RestartInsideABatch_FollowsWhateverItsTimes) {
  const RecordsInOrder result =
      order({{"fw", {{500, 90 * second}, {501, 91 * second}, {0, 2 * second}, {1, 3 * second}}},
             {"fw", {{1, 3 * second}, {2, 4 * second}}},         // goes on after the restart
             {"fw", {{498, 88 * second}, {499, 89 * second}}}}); // from before it
  EXPECT_THAT(numbers(result), ElementsAre(498, 499, 500, 501, 0, 1, 2));
  EXPECT_THAT(runs(result), ElementsAre(0, 0, 0, 0, 1, 1, 1));
  EXPECT_EQ(result.runs[1].start, Run::Start::restarted);
  EXPECT_EQ(result.runs[0].missing + result.runs[1].missing, 0U);
}

TEST(Order, ClockThatGoesBack_BeginsARunInWhichNumbersGoOn) {
  const RecordsInOrder result =
      order({{"fw", {{5, 90 * second}, {6, 91 * second}, {7, 50 * second}, {8, 51 * second}}}});
  EXPECT_THAT(numbers(result), ElementsAre(5, 6, 7, 8));
  ASSERT_EQ(result.runs.size(), 2U);
  EXPECT_EQ(result.runs[1].start, Run::Start::clockBack);
}

TEST(Order, SequenceThatBeginsAnewWithoutTheClock_IsARestart) {
  const RecordsInOrder result = order({{"fw", {{5000, 90 * second}, {1, 91 * second}, {2, 92 * second}}}});
  EXPECT_THAT(runs(result), ElementsAre(0, 1, 1));
}

TEST(Order, RestartBetweenTwoCaptures_FollowsWhenNumbersContradict) {
  const RecordsInOrder result = order({{"fw", {{1, 100 * second}, {2, 101 * second}, {900, 200 * second}}},
                                       {"fw", {{1, 5 * second}, {2, 6 * second}, {950, 50 * second}}}});
  EXPECT_THAT(numbers(result), ElementsAre(1, 2, 900, 1, 2, 950));
  EXPECT_THAT(runs(result), ElementsAre(0, 0, 0, 1, 1, 1));
}

TEST(Order, RecordsThatAreALittleLate_StayInTheirRun) {
  const RecordsInOrder result =
      order({{"fw", {{1, 10}, {3, 30}, {2, 35}, {4, 40}}}, {"fw", {{6, 60}, {5, 61}, {7, 70}}}});
  EXPECT_THAT(runs(result), testing::Each(0U));
  EXPECT_EQ(result.runs[0].missing, 0U);
  // Also where one batch ends and the next one begins.
  EXPECT_EQ(order({{"fw", {{1, 10}, {3, 30}}}, {"fw", {{2, 31}, {4, 40}}}}).runs.size(), 1U);
  EXPECT_EQ(order({{"fw", {{1, 10}, {30, 30}}}, {"fw", {{2, 31}, {40, 40}}}}).runs.size(), 2U);
}

TEST(Order, NumbersWrapAround) {
  const RecordsInOrder result = order({{"fw", {{0xfffffffe, 10}, {0xffffffff, 20}}}, {"fw", {{0, 30}, {1, 40}}}});
  EXPECT_THAT(runs(result), testing::Each(0U));
  EXPECT_EQ(result.runs[0].missing, 0U);
  EXPECT_EQ(result.runs[0].lastSequence, 1U);
}

TEST(Order, NothingGivesNothing) {
  EXPECT_TRUE(order({}).records.empty());
  EXPECT_TRUE(order({{"fw", {}}}).runs.empty());
}

} // namespace

} // namespace vel::sources
