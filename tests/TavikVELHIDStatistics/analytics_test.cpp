// Analytics batches: the calls to the store, and the log lines.

#include "Analytics.h"
#include "key_names.h"
#include "support/statistics_fixture.h"
#include <control/calls.h>
#include <control/tally.h>

namespace vel::test {
namespace {

using control::TallyCall;
using control::TallyOp;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

constexpr const char* kUnknown = "com.tavik.kip.unknown";

Bytes entry(int op, int key, std::int64_t value, int version = 0x30) {
  return Bytes{static_cast<std::uint8_t>(version), static_cast<std::uint8_t>(op), static_cast<std::uint8_t>(key)} +
         le(static_cast<std::uint32_t>(value));
}

// A call as text: "set key -1", "push distribution key 0x1p-12".
std::string describe(const TallyCall& call) {
  char sample[64];
  std::snprintf(sample, sizeof sample, " %a", call.sample);
  switch (call.op) {
  case TallyOp::clearScalar:
    return "clear " + call.key;
  case TallyOp::setScalar:
    return "set " + call.key + " " + std::to_string(call.scalar);
  case TallyOp::addScalar:
    return "add " + call.key + " " + std::to_string(call.scalar);
  case TallyOp::clearDistribution:
    return "clear distribution " + call.key;
  case TallyOp::setDistribution:
    return "set distribution " + call.key + sample;
  case TallyOp::pushDistribution:
    return "push distribution " + call.key + sample;
  }
  return "?";
}

std::vector<std::string> calls() {
  std::vector<std::string> texts;
  for (const TallyCall& call : control::tallyCalls()) {
    texts.push_back(describe(call));
  }
  return texts;
}

struct Analytics : StatisticsTest {
  Analytics() {
    registerService({.usages = button, .supportsTallyStore = Ref<CFTypeRef>::share(kCFBooleanTrue)});
    control::clearLog();
    control::clearTally();
  }
  // Delivers entries as the device does, at an address that suits no number.
  void publish(const Bytes& entries) const {
    ASSERT_EQ(entries.size() % 7, 0U);
    Bytes batch = Bytes{0xEE} + entries;
    device.callback(device.refcon, batch.data() + 1, entries.size() / 7);
  }
  // What one entry makes the store do.
  std::vector<std::string> callsOf(const Bytes& entry) const {
    control::clearTally();
    publish(entry);
    return calls();
  }
};

TEST_F(Analytics, Names_AreInTheOrderOfTheirIndices) {
  for (int index = 0; index < 48; ++index) {
    EXPECT_EQ(control::utf8(plugin->keyForIndex(index)), kKeyNames[index]);
    EXPECT_THAT(callsOf(entry(1, index, 0)), ElementsAre(std::string("clear ") + kKeyNames[index]));
  }
}

TEST_F(Analytics, KeyForIndex_Borrows) {
  const std::size_t count = control::retainCount(plugin->_keys[3]);
  EXPECT_EQ(plugin->keyForIndex(3), plugin->_keys[3]);
  EXPECT_EQ(control::retainCount(plugin->_keys[3]), count);
}

TEST_F(Analytics, UnknownKeys_ShareOneName) {
  for (int key : {48, 49, 200, 255}) {
    control::clearLog();
    EXPECT_THAT(callsOf(entry(2, key, 5)), ElementsAre("set com.tavik.kip.unknown 5")) << key;
    char line[128];
    std::snprintf(line, sizeof line, "publishTSData op=0x2 '%s' (%#x)", kUnknown, static_cast<unsigned>(key));
    EXPECT_THAT(logMessages(), ElementsAre(assertionOnAnyLine("key < kVELTSRecKey_Count", "", 0), line)) << key;
    EXPECT_EQ(control::logLines()[0].type, OS_LOG_TYPE_DEFAULT);
    EXPECT_EQ(control::logLines()[1].type, OS_LOG_TYPE_ERROR);
  }
}

struct OpCase {
  int op;
  std::int64_t value;
  std::vector<std::string> calls; // on "com.tavik.kip.test", written '@'
};

std::vector<std::string> named(std::vector<std::string> calls) {
  for (std::string& call : calls) {
    call.replace(call.find('@'), 1, "com.tavik.kip.test");
  }
  return calls;
}

TEST_F(Analytics, Ops) {
  const OpCase cases[] = {
      {0, 1, {}},
      {1, 1, {"clear @"}},
      {2, 1, {"set @ 1"}},
      {2, -1, {"set @ -1"}},
      {2, INT32_MIN, {"set @ -2147483648"}},
      {2, INT32_MAX, {"set @ 2147483647"}},
      {3, 1, {"add @ 1"}},
      {3, -7, {"add @ -7"}},
      {4, 1, {"clear distribution @"}},
      {5, 65536, {"set distribution @ 0x1p+0"}},
      {5, -65536, {"set distribution @ -0x1p+0"}},
      {5, 0, {"set distribution @ 0x0p+0"}},
      {5, 1, {"set distribution @ 0x1p-16"}},
      {6, 65536, {"push distribution @ 0x1p+0"}},
      {7, 98304, {"push distribution @ 0x1.8p+0", "push distribution @ 0x1.8p+0"}},
      {8, 16, std::vector<std::string>(3, "push distribution @ 0x1p-12")},
      {255, 16, std::vector<std::string>(250, "push distribution @ 0x1p-12")},
      // Words of more than 24 bits are rounded to single precision: in double these would be 0x1.000001p+8 and
      // 0x1.fffffffcp+14.
      {5, 16777217, {"set distribution @ 0x1p+8"}},
      {5, 16777219, {"set distribution @ 0x1.000004p+8"}},
      {6, INT32_MAX, {"push distribution @ 0x1p+15"}},
      {6, INT32_MIN, {"push distribution @ -0x1p+15"}},
  };
  for (const OpCase& row : cases) {
    EXPECT_THAT(callsOf(entry(row.op, 47, row.value)), ElementsAreArray(named(row.calls)))
        << row.op << ", " << row.value;
  }
}

TEST_F(Analytics, OpsAboveFive_PushAsOftenAsTheyLieAboveIt) {
  for (int op = 6; op <= 255; ++op) {
    EXPECT_EQ(callsOf(entry(op, 0, 1)).size(), static_cast<std::size_t>(op - 5));
  }
}

TEST_F(Analytics, Entries_AreReadAtTheirOffsets) {
  EXPECT_THAT(callsOf({0x30, 0x07, 0x00, 0x10, 0x00, 0x00, 0x00}),
              ElementsAre("push distribution com.tavik.kip.button.click.count 0x1p-12",
                          "push distribution com.tavik.kip.button.click.count 0x1p-12"));
  EXPECT_EQ(control::tallyCalls()[0].sample, 0.000244140625);
  EXPECT_THAT(callsOf({0x30, 0x02, 0x2F, 0xFF, 0xFF, 0xFF, 0xFF}), ElementsAre("set com.tavik.kip.test -1"));
  EXPECT_THAT(callsOf({0x30, 0x03, 0x01, 0x04, 0x03, 0x02, 0x01}),
              ElementsAre("add com.tavik.kip.button.single_click.count 16909060"));
}

TEST_F(Analytics, Batch_IsPublishedInOrder) {
  publish(entry(4, 7, 0) + entry(7, 7, 65536) + entry(1, 0, 0) + entry(3, 0, 2) + entry(0, 0, 3) + entry(5, 8, 32768));
  EXPECT_THAT(calls(), ElementsAre("clear distribution com.tavik.kip.button.click.pico",
                                   "push distribution com.tavik.kip.button.click.pico 0x1p+0",
                                   "push distribution com.tavik.kip.button.click.pico 0x1p+0",
                                   "clear com.tavik.kip.button.click.count", "add com.tavik.kip.button.click.count 2",
                                   "set distribution com.tavik.kip.button.touch.pico 0x1p-1"));
}

TEST_F(Analytics, EmptyBatch_DoesNothing) {
  publish({});
  device.callback(device.refcon, nullptr, 0);
  EXPECT_THAT(calls(), IsEmpty());
  EXPECT_THAT(logMessages(), IsEmpty());
}

TEST_F(Analytics, CountIsOfEntries) {
  Bytes batch = entry(2, 0, 1) + entry(2, 0, 2) + entry(2, 0, 3);
  plugin->publishTSData(reinterpret_cast<TSRec*>(batch.data()), 2);
  EXPECT_THAT(calls(), ElementsAre("set com.tavik.kip.button.click.count 1", "set com.tavik.kip.button.click.count 2"));
}

TEST_F(Analytics, EntriesOfAnotherVersion_AreSkippedAlone) {
  publish(entry(2, 0, 1, 0x31) + entry(2, 0, 2, 0) + entry(2, 200, 3, 0xFF) + entry(2, 0, 4));
  EXPECT_THAT(calls(), ElementsAre("set com.tavik.kip.button.click.count 4"));
  EXPECT_THAT(logMessages(), ElementsAre("publishTSData veltsreckeys version mismatch (0x31/0x30)",
                                         "publishTSData veltsreckeys version mismatch (0/0x30)",
                                         "publishTSData veltsreckeys version mismatch (0xff/0x30)",
                                         "publishTSData op=0x2 'com.tavik.kip.button.click.count' (0)"));
  for (const control::LogLine& line : control::logLines()) {
    EXPECT_EQ(line.type, OS_LOG_TYPE_ERROR) << line.message;
  }
}

struct LogCase {
  int op;
  int key;
  const char* line;
};

TEST_F(Analytics, EveryAcceptedEntry_IsLoggedOnceAsAnError) {
  const LogCase cases[] = {
      {0, 0, "publishTSData op=0 'com.tavik.kip.button.click.count' (0)"},
      {1, 1, "publishTSData op=0x1 'com.tavik.kip.button.single_click.count' (0x1)"},
      {2, 21, "publishTSData op=0x2 'com.tavik.com.kip.prox.baseline_to_trigger.time' (0x15)"},
      {3, 47, "publishTSData op=0x3 'com.tavik.kip.test' (0x2f)"},
      {4, 9, "publishTSData op=0x4 'com.tavik.kip.button.click_to_pico.time' (0x9)"},
      {5, 28, "publishTSData op=0x5 'com.tavik.com.kip.prox.baseline_to_trigger.time.dist' (0x1c)"},
      {6, 7, "publishTSData op=0x6 'com.tavik.kip.button.click.pico' (0x7)"},
      {255, 47, "publishTSData op=0xff 'com.tavik.kip.test' (0x2f)"},
  };
  for (const LogCase& row : cases) {
    control::clearLog();
    publish(entry(row.op, row.key, 5));
    EXPECT_THAT(logMessages(), ElementsAre(row.line));
    ASSERT_EQ(control::logLines().size(), 1U);
    EXPECT_EQ(control::logLines()[0].type, OS_LOG_TYPE_ERROR);
  }
}

TEST_F(Analytics, Entries_AreLoggedBeforeTheyArePublished_AndNothingElseIsCalled) {
  const Bytes batch = entry(1, 0, 0) + entry(7, 200, 0) + entry(1, 0, 0, 0x31) + entry(1, 1, 0);
  EXPECT_THAT(recordingOf([&] { publish(batch); }),
              ElementsAre("os_log(error, publishTSData op=0x1 'com.tavik.kip.button.click.count' (0))",
                          "TSClientClearScalarKey(com.tavik.kip.button.click.count)",
                          testing::StartsWith("os_log(default, : AssertMacros: key < kVELTSRecKey_Count, "),
                          "os_log(error, publishTSData op=0x7 'com.tavik.kip.unknown' (0xc8))",
                          "TSClientPushValueForDistributionKey(com.tavik.kip.unknown)",
                          "TSClientPushValueForDistributionKey(com.tavik.kip.unknown)",
                          "os_log(error, publishTSData veltsreckeys version mismatch (0x31/0x30))",
                          "os_log(error, publishTSData op=0x1 'com.tavik.kip.button.single_click.count' (0x1))",
                          "TSClientClearScalarKey(com.tavik.kip.button.single_click.count)"));
}

// Nothing that is called can fail, so that every batch arrives whole.
TEST_F(Analytics, AnyCallMayFail_NothingIsLeakedOrLost) {
  const Bytes batch = entry(2, 0, 1) + entry(2, 200, 2) + entry(9, 3, 3) + entry(2, 0, 4, 0x31);
  const auto publishes = [&] {
    control::clearTally();
    publish(batch);
    EXPECT_EQ(control::tallyCalls().size(), 6U);
  };
  EXPECT_EQ(failEachCall(publishes), 0U);
}

} // namespace
} // namespace vel::test
