// The same seed, the same bytes; and flows that look like a device's.
#include <profile/fields.h>
#include <profile/names.h>
#include <synthetic/flows.h>
#include <synthetic/record_stream.h>

#include <gmock/gmock.h>

#include <set>
#include <string>

namespace vel::synthetic {

namespace {

using testing::ElementsAre;
using testing::IsSupersetOf;

template <class Stream>
std::vector<_VelProfileReport> take(std::uint64_t seed, std::size_t count, std::size_t atOnce) {
  Stream stream(seed);
  std::vector<_VelProfileReport> records(count);
  for (std::size_t i = 0; i < count; i += atOnce) {
    stream.fill({records.data() + i, std::min(atOnce, count - i)});
  }
  return records;
}

// FNV-1a, 64 bits.
std::uint64_t digest(const std::vector<_VelProfileReport>& records) {
  std::uint64_t hash = 0xCBF29CE484222325;
  const unsigned char* const bytes = reinterpret_cast<const unsigned char*>(records.data());
  for (std::size_t i = 0; i < records.size() * sizeof records[0]; ++i) {
    hash = (hash ^ bytes[i]) * 0x100000001B3;
  }
  return hash;
}

TEST(Random, IsTheSameOnEveryMachine) {
  Random random(1);
  EXPECT_EQ(random.next(), 0xB3F2AF6D0FC710C5U);
  EXPECT_EQ(random.next(), 0x853B559647364CEAU);
}

TEST(Random, BoundsHold) {
  Random random(2);
  std::set<std::uint32_t> seen;
  for (int i = 0; i < 1000; ++i) {
    seen.insert(random.between(3, 6));
  }
  EXPECT_THAT(seen, ElementsAre(3, 4, 5, 6));
}

TEST(Streams, SameSeed_SameBytes) {
  EXPECT_EQ(digest(take<FlowStream>(1, 100000, 4096)), 6583818365718780098U);
  EXPECT_EQ(digest(take<RandomStream>(1, 100000, 4096)), 12934442387025706045U);
}

TEST(Streams, BytesDoNotDependOnTheSizeOfTheBlocks) {
  EXPECT_EQ(digest(take<FlowStream>(9, 5000, 7)), digest(take<FlowStream>(9, 5000, 5000)));
  EXPECT_EQ(digest(take<RandomStream>(9, 5000, 7)), digest(take<RandomStream>(9, 5000, 5000)));
  EXPECT_NE(digest(take<FlowStream>(9, 5000, 5000)), digest(take<FlowStream>(10, 5000, 5000)));
}

TEST(FlowStream, NumbersRiseByOneAndTimeGoesOn) {
  const auto records = take<FlowStream>(4, 50000, 4096);
  for (std::size_t i = 1; i < records.size(); ++i) {
    ASSERT_EQ(records[i].sequence_num, i);
    ASSERT_GE(records[i].timestamp, records[i - 1].timestamp);
  }
}

TEST(FlowStream, ShowsEveryCategoryAndEveryCommonDatatype) {
  std::set<unsigned> categories;
  std::set<unsigned> types;
  for (const _VelProfileReport& record : take<FlowStream>(4, 50000, 4096)) {
    categories.insert(record.category);
    types.insert(record.type);
  }
  EXPECT_THAT(categories, ElementsAre(0, 1, 2, 3, 4, 5, 6, 7, 8, 9));
  EXPECT_THAT(types, IsSupersetOf({0, 1, 2, 3, 4, 5, 8, 9, 10, 11, 12}));
}

TEST(RandomStream, ShowsEveryIdThatHasANameAndSomeThatHaveNone) {
  std::set<unsigned> categories;
  std::set<unsigned> types;
  std::set<unsigned> components;
  std::set<unsigned> events;
  for (const _VelProfileReport& record : take<RandomStream>(4, 50000, 4096)) {
    categories.insert(record.category);
    types.insert(record.type);
    components.insert(record.component);
    events.insert(record.event);
  }
  EXPECT_EQ(categories.size(), 12U);
  EXPECT_EQ(types.size(), 15U);
  EXPECT_EQ(components.size(), 9U);
  EXPECT_EQ(events.size(), 21U);
}

// The steps that a reader of a double click expects, in order.
TEST(Flows, DoubleClick_PassesItsCheckpointsInOrder) {
  Recorder recorder(6);
  press(recorder, {.clicks = 2});
  std::vector<std::string> checkpoints;
  unsigned clicks = 0;
  for (const _VelProfileReport& record : recorder.records()) {
    profile::DecimalText digits;
    if (record.category == 7 && record.component == 3) {
      checkpoints.emplace_back(name_of(profile::event_names(7, 3), record.event, digits));
    }
    if (record.category == 7 && record.event == 3 && record.type == 2) { // a status event
      clicks = std::max<unsigned>(clicks, record.payload[33 - 16]);
    }
  }
  const std::vector<std::string> click = {"ckp_ZORBButtonDown", "ckp_HaldenStartHaptics", "ckp_HaldenPlayAsset",
                                          "ckp_ZORBButtonUp",   "ckp_HaldenStartHaptics", "ckp_HaldenPlayAsset"};
  std::vector<std::string> expected = {"ckp_ZORBFingerON", "ckp_ARCTurnOn", "ckp_ARCReady"};
  expected.insert(expected.end(), click.begin(), click.end());
  expected.insert(expected.end(), click.begin(), click.end());
  expected.emplace_back("ckp_ZORBFingerOFF");
  EXPECT_EQ(checkpoints, expected);
  EXPECT_EQ(clicks, 2U);
}

TEST(FlowsDeathTest, UnknownName_IsAMistake) {
  Recorder recorder(1);
  EXPECT_DEATH(recorder.add({"zorb", "zorb", "trace", "event"}).number("reportID", 1), "reportID");
  EXPECT_DEATH(recorder.add({"zorb", "zorb", "no-such-event", "event"}), "no-such-event");
}

} // namespace

} // namespace vel::synthetic
