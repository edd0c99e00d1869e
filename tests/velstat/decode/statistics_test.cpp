// Sequence numbers in every order, bounded counts, and the whole text and JSON of a small stream.
#include "support/record_files.h"
#include <velstat/decode/statistics.h>

#include <gmock/gmock.h>

namespace vel::stat {

using namespace sources;

namespace {

struct NumbersCase {
  const char* name;
  std::vector<std::uint32_t> numbers;
  SequenceCheck::Counts counts;
};

class Sequence : public testing::TestWithParam<NumbersCase> {};

TEST_P(Sequence, IsFollowed) {
  SequenceCheck check;
  for (const std::uint32_t number : GetParam().numbers) {
    check.add(number);
  }
  const SequenceCheck::Counts& expected = GetParam().counts;
  EXPECT_EQ(check.counts().gaps, expected.gaps);
  EXPECT_EQ(check.counts().missing, expected.missing);
  EXPECT_EQ(check.counts().duplicates, expected.duplicates);
  EXPECT_EQ(check.counts().late, expected.late);
  EXPECT_EQ(check.counts().restarts, expected.restarts);
}

INSTANTIATE_TEST_SUITE_P(
    Orders, Sequence,
    testing::Values(NumbersCase{"Empty", {}, {}}, NumbersCase{"One", {5}, {}}, NumbersCase{"Rising", {5, 6, 7}, {}},
                    NumbersCase{"Wrapping", {0xFFFFFFFF, 0, 1}, {}},
                    NumbersCase{"Gap", {1, 2, 5}, {.gaps = 1, .missing = 2}},
                    NumbersCase{"GapOverTheWrap", {0xFFFFFFFE, 1}, {.gaps = 1, .missing = 2}},
                    NumbersCase{"Duplicate", {1, 2, 2, 3, 1}, {.duplicates = 2}},
                    NumbersCase{"Swapped", {1, 3, 2, 4}, {.gaps = 1, .missing = 0, .late = 1}},
                    NumbersCase{"LateAndAgain", {1, 3, 2, 2}, {.gaps = 1, .duplicates = 1, .late = 1}},
                    NumbersCase{"BeforeTheFirst", {10, 9, 9, 11}, {.duplicates = 1, .late = 1}},
                    NumbersCase{"Restart", {5000, 5001, 0, 1, 2}, {.restarts = 1}},
                    NumbersCase{"JustInsideTheWindow", {1, 1024, 1}, {.gaps = 1, .missing = 1022, .duplicates = 1}},
                    NumbersCase{"JustOutsideTheWindow", {1, 1025, 1}, {.gaps = 1, .missing = 1023, .restarts = 1}},
                    // The place of 2 in the window was that of 1026 before.
                    NumbersCase{
                        "OldNumbersAreForgotten", {2, 1025, 1027, 1026}, {.gaps = 2, .missing = 1022, .late = 1}},
                    NumbersCase{"ForgottenOverALongGap", {1, 3000, 2999}, {.gaps = 1, .missing = 2997, .late = 1}}),
    [](const auto& info) { return info.param.name; });

TEST(BoundedCounts, KeepsAsManyKeysAsItSays) {
  BoundedCounts counts;
  const std::uint32_t keys = BoundedCounts::capacity + 100;
  for (int round = 0; round < 2; ++round) {
    for (std::uint32_t key = 0; key < keys; ++key) {
      counts.add(key * 65536 + key % 3);
    }
  }
  const auto kept = counts.inOrder();
  ASSERT_EQ(kept.size(), BoundedCounts::capacity);
  for (std::uint32_t i = 0; i < kept.size(); ++i) {
    EXPECT_EQ(kept[i], (std::pair<std::uint32_t, std::uint64_t>(i * 65536 + i % 3, 2)));
  }
  EXPECT_EQ(counts.rest(), 200U);
}

Statistics small() {
  Statistics statistics;
  const Bytes stream[] = {record(1, {7, 3, 5, 3}, 1000), record(2, {7, 3, 5, 3}, 2000),
                          record(4, {200, 1, 9, 99}, 501000)};
  for (const Bytes& record : stream) {
    statistics.addRead(record.data());
    statistics.addSelected(record.data());
  }
  statistics.addRead(record(6).data());
  statistics.addShown(2);
  return statistics;
}

TEST(Statistics, AsText) {
  EXPECT_EQ(small().asText(), R"(records: 4 read, 3 selected, 2 shown
sequence numbers: 2 gaps (2 missing), 0 duplicates, 0 late, 0 restarts
time: 1000..501000, 4.0 records a second
categories:
  zorb                                                2  66.7 %
  200                                                 1  33.3 %
components:
  zorb latency                                        2  66.7 %
  200 1                                               1  33.3 %
events:
  zorb latency ckp_HaldenStartHaptics                 2  66.7 %
  200 1 9                                             1  33.3 %
types:
  event                                               2  66.7 %
  99                                                  1  33.3 %
)");
}

TEST(Statistics, AsJson) {
  EXPECT_EQ(
      small().asJson(),
      R"({"read": 4, "selected": 3, "shown": 2, )"
      R"("sequence": {"gaps": 2, "missing": 2, "duplicates": 0, "late": 0, "restarts": 0}, )"
      R"("time": {"first": "1000", "last": "501000", "records a second": 4.0}, )"
      R"("categories": [{"category": "zorb", "category-id": 7, "count": 2}, )"
      R"({"category": "200", "category-id": 200, "count": 1}], )"
      R"("components": [{"category": "zorb", "category-id": 7, "component": "latency", "component-id": 3, "count": 2}, )"
      R"({"category": "200", "category-id": 200, "component": "1", "component-id": 1, "count": 1}], )"
      R"("events": [{"category": "zorb", "category-id": 7, "component": "latency", "component-id": 3, )"
      R"("event": "ckp_HaldenStartHaptics", "event-id": 5, "count": 2}, )"
      R"({"category": "200", "category-id": 200, "component": "1", "component-id": 1, "event": "9", "event-id": 9, )"
      R"("count": 1}], )"
      R"("types": [{"type": "event", "type-id": 3, "count": 2}, {"type": "99", "type-id": 99, "count": 1}]})"
      "\n");
}

TEST(Statistics, OfNothing_HaveNoTime) {
  EXPECT_EQ(Statistics().asText(), "records: 0 read, 0 selected, 0 shown\n"
                                   "sequence numbers: 0 gaps (0 missing), 0 duplicates, 0 late, 0 restarts\n");
}

} // namespace

} // namespace vel::stat
