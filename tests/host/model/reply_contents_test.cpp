// What replies hold that a model describes: the bytes of each content, field by field.
#include <host/error.h>
#include <host/model/device_model.h>
#include <profile/VelProfileReport.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <set>
#include <utility>

namespace {

using namespace vel::formats;
using namespace vel::host;

class Contents : public testing::Test {
protected:
  const std::vector<Reply>& replies(std::uint32_t id) const {
    return model.services.at(0).driver->replies.properties.at(id);
  }
  std::string hex(std::uint32_t id) const {
    std::string text;
    for (const std::byte byte : replies(id).at(0).content.value()) {
      constexpr char digits[] = "0123456789abcdef";
      text += digits[std::to_integer<unsigned>(byte) >> 4];
      text += digits[std::to_integer<unsigned>(byte) & 15];
    }
    return text;
  }

  const DeviceModel model = readDeviceModel(std::filesystem::path(TEST_MODELS) / "good/contents.json");
};

TEST_F(Contents, Assets_StandBySpeedThenEvent) {
  const Bytes& table = replies(1).at(0).content.value();
  ASSERT_EQ(table.size(), 1479U);
  EXPECT_EQ(hex(1).substr(0, 2 * 29), "01"
                                      "00800100"         // 1.5
                                      "ffffffffffffffff" // -1
                                      "0200000000000000"
                                      "ffffffff" // slot
                                      "00000000");
  EXPECT_EQ(hex(1).substr(2 * 50 * 29, 10), "ff0000ffff"); // gain -1
  EXPECT_EQ(std::count(table.begin() + 29, table.end() - 29, std::byte{0}), 49 * 29);
}

TEST(AssetContents, EveryNameHasItsPlace) {
  const char* const speeds[] = {"Slow", "Medium", "Fast"};
  const char* const events[] = {"SingleDown",  "SingleUp",     "DoubleDown",   "DoubleUp",    "TripleDown",
                                "TripleUp",    "SingleTapOn",  "SingleTapOff", "DoubleTapOn", "DoubleTapOff",
                                "TripleTapOn", "TripleTapOff", "DeepDown",     "DeepUp",      "LongPress",
                                "LongPressUp", "(null)"};
  std::size_t place = 0;
  for (const std::string speed : speeds) {
    for (const std::string event : events) {
      const std::string text =
          R"({"services": [{"name": "s", "driver": {"property-replies": {"1": [{"zorb-assets": {")" + speed + "-" +
          event + R"(": {"enable": 1}}}]}}}]})";
      const DeviceModel model = parseDeviceModel(text, "test");
      Bytes expected(std::size_t{51} * 29);
      expected.at(29 * place++) = std::byte{1};
      EXPECT_EQ(model.services.at(0).driver->replies.properties.at(1).at(0).content, expected) << speed << event;
    }
  }
}

TEST_F(Contents, SmallRecords) {
  EXPECT_EQ(hex(2), "41feffffff");
  EXPECT_EQ(hex(3), "01000000020000000300000004000000ffffffff");
}

TEST_F(Contents, MatricesAreRowsOfFractions) {
  EXPECT_EQ(hex(4), "000001000000ffff00800000"
                    "00000000ffffff7f00000080"
                    "000000000000000000000100");
}

TEST_F(Contents, WholeNumbersOfAGrid) {
  EXPECT_EQ(hex(5), "01000000feffffffffffff7f");
  EXPECT_EQ(hex(6), "7f80000001000000ff");
}

TEST_F(Contents, Registers_StandBehindTheirNumber) {
  EXPECT_EQ(hex(7), "02000000"
                    "20005700"
                    "21000201");
}

TEST_F(Contents, TextStream_IsTaggedElements) {
  EXPECT_EQ(hex(8), "02783d00"
                    "00ff000000"
                    "04"
                    "010807060504030201"
                    "03"
                    "05"
                    "0200");
}

TEST_F(Contents, ClientSlots_ThatAreNullOrInactiveAreNotInUse) {
  EXPECT_EQ(hex(9), std::string(2 * 31, '0') +
                        "7477656c76652d6368617273" // no NUL: it fills its field
                        "01000000feffffff0300000004000000"
                        "010000" +
                        std::string(2 * 31, '0'));
}

_VelProfileReport recordAt(const Bytes& bytes, std::size_t index) {
  _VelProfileReport record;
  std::memcpy(&record, bytes.data() + index * sizeof record, sizeof record);
  return record;
}

TEST_F(Contents, ProfileRecords_GoOnFromBatchToBatch) {
  const auto& batches = replies(10);
  ASSERT_EQ(batches.size(), 4U) << "three batches, and the reply behind them";
  std::uint32_t sequence = 0;
  std::uint64_t clock = 1000;
  for (std::size_t batch = 0; batch < 3; ++batch) {
    EXPECT_EQ(batches[batch].result, 7);
    ASSERT_EQ(batches[batch].content->size(), 2 * sizeof(_VelProfileReport));
    for (std::size_t i = 0; i < 2; ++i) {
      const _VelProfileReport record = recordAt(*batches[batch].content, i);
      EXPECT_EQ(record.sequence_num, sequence++);
      EXPECT_GE(record.timestamp, clock);
      clock = record.timestamp;
    }
  }
  EXPECT_LT(clock, 100000U) << "the clock begins where the model says";
  EXPECT_EQ(batches[3].content, Bytes());
  EXPECT_EQ(batches[3].result, 0);
}

TEST_F(Contents, ProfileRecords_Are32OfOneBatchUnlessGiven) {
  ASSERT_EQ(replies(11).size(), 1U);
  EXPECT_EQ(replies(11)[0].content->size(), 32 * sizeof(_VelProfileReport));
}

TEST_F(Contents, ProfileRecords_OfASeedAreAlwaysTheSame) {
  const DeviceModel again = readDeviceModel(std::filesystem::path(TEST_MODELS) / "good/contents.json");
  for (const std::uint32_t id : {10U, 11U}) {
    EXPECT_EQ(again.services.at(0).driver->replies.properties.at(id).at(0).content, replies(id).at(0).content);
  }
}

TEST(TextStreamContents, HaveAtMost64KiB) {
  for (const std::size_t length : {65534U, 65535U}) { // and a tag, and a NUL
    const std::string text = R"({"services": [{"name": "s", "driver": {"property-replies": {"1": [{"text-stream": [)"
                             R"({"text": ")" +
                             std::string(length, 'x') + R"("}]}]}}}]})";
    try {
      const DeviceModel model = parseDeviceModel(text, "test");
      EXPECT_EQ(model.services.at(0).driver->replies.properties.at(1).at(0).content->size(), 65536U);
      EXPECT_EQ(length, 65534U);
    } catch (const vel::formats::Error& error) {
      EXPECT_STREQ(error.what(),
                   "test: /services/0/driver/property-replies/1/0/text-stream: makes 65537 bytes, at most "
                   "65536 are allowed");
      EXPECT_EQ(length, 65535U);
    }
  }
}

// The bytes of the profile records that some keys describe.
Bytes profileRecords(const std::string& keys) {
  const std::string text =
      R"({"services": [{"name": "s", "driver": {"property-replies": {"1": [{"profile-records": {)" + keys + "}}]}}}]}";
  return parseDeviceModel(text, "test").services.at(0).driver->replies.properties.at(1).at(0).content.value();
}

TEST(ProfileRecordContents, EveryKeyCounts_AndHasAStandardValue) {
  const std::string given = R"("flow": "click", "seed": 1, "clock": 2000000, "count": 32)";
  EXPECT_EQ(profileRecords(given), profileRecords(R"("flow": "click")"));
  for (const char* const other :
       {R"("flow": "idle")", R"("flow": "click", "seed": 2)", R"("flow": "click", "clock": 2000001)",
        R"("flow": "click", "count": 31)", R"("flow": "random")", R"("flow": "random", "seed": 2)"}) {
    EXPECT_NE(profileRecords(other), profileRecords(given)) << other;
  }
  EXPECT_NE(profileRecords(R"("flow": "random")"), profileRecords(R"("flow": "random", "seed": 2)"));
  EXPECT_EQ(profileRecords(R"("flow": "click", "count": 1365)").size(), 65520U); // no more records fit into a reply
}

// A number of a record: of `width` bytes at the offset.
std::uint64_t numberAt(const Bytes& records, std::size_t record, std::size_t offset, std::size_t width) {
  std::uint64_t number = 0;
  for (std::size_t i = width; i > 0; --i) {
    number =
        number << 8 | std::to_integer<std::uint64_t>(records.at(record * sizeof(_VelProfileReport) + offset + i - 1));
  }
  return number;
}
std::uint64_t sequenceAt(const Bytes& records, std::size_t record) {
  return numberAt(records, record, 4, 4);
}
std::uint64_t timeAt(const Bytes& records, std::size_t record) {
  return numberAt(records, record, 8, 8);
}

TEST(ProfileRecordContents, LaterChanges_HappenOnceARoundHasEnded) {
  const std::string flow = R"("flow": "idle", "count": 200, "sequence": 70)";
  const Bytes plain = profileRecords(flow);
  const Bytes changed = profileRecords(
      flow +
      R"(, "later": [{"after": 100, "clock": 5}, {"after": 120, "sequence": 7}, {"after": 150, "flow": "retries"}])");
  std::size_t clockSet = 0;
  std::size_t renumbered = 0;
  for (std::size_t i = 1; i < 200; ++i) {
    if (timeAt(changed, i) < timeAt(changed, i - 1)) {
      EXPECT_EQ(std::exchange(clockSet, i), 0U);
      EXPECT_EQ(timeAt(changed, i), 5U);
    }
    if (sequenceAt(changed, i) != sequenceAt(changed, i - 1) + 1) {
      EXPECT_EQ(std::exchange(renumbered, i), 0U);
      EXPECT_EQ(sequenceAt(changed, i), 7U);
    }
  }
  EXPECT_EQ(sequenceAt(changed, 0), 70U);
  EXPECT_GE(clockSet, 100U);
  EXPECT_GE(renumbered, 120U);
  EXPECT_TRUE(std::equal(plain.begin(), plain.begin() + static_cast<std::ptrdiff_t>(clockSet * 48), changed.begin()));
  EXPECT_EQ(numberAt(changed, 199, 3, 1), 6U) << "handshakes on a serial line, which an idle device does not record";
}

TEST(ProfileRecordContents, SilentSensors_RecordNothing) {
  const auto sensorsOf = [](const Bytes& records) {
    std::set<std::uint64_t> components;
    for (std::size_t i = 0; i < records.size() / sizeof(_VelProfileReport); ++i) {
      if (numberAt(records, i, 3, 1) == 2) {
        components.insert(numberAt(records, i, 2, 1));
      }
    }
    return components;
  };
  const std::string flow = R"("flow": "mix", "count": 1365)";
  EXPECT_EQ(sensorsOf(profileRecords(flow)), (std::set<std::uint64_t>{0, 1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(sensorsOf(profileRecords(flow + R"(, "silent": ["gyro", "als"])")),
            (std::set<std::uint64_t>{0, 2, 3, 4, 6}));
}

TEST(ProfileRecordContents, Damage_LosesBytesOrChangesThem) {
  const std::string flow = R"("flow": "idle", "count": 3)";
  const Bytes whole = profileRecords(flow);
  const Bytes damaged = profileRecords(
      flow + R"(, "damage": [{"batch": 0, "at": 140, "hex": "01fe"}, {"batch": 0, "at": 50, "lost": 5}])");
  Bytes expected = whole;
  expected[140] = std::byte{1};
  expected[141] = std::byte{0xFE};
  expected.erase(expected.begin() + 50, expected.begin() + 55);
  EXPECT_EQ(damaged, expected);
}

TEST(ProfileRecordContents, NumbersAndNamesHaveLimits) {
  const std::string place = "test: /services/0/driver/property-replies/1/0/profile-records";
  const std::string flow(64, 'x');
  const std::pair<std::string, std::string> rows[] = {
      {R"("flow": "click", "count": 1024, "batches": 64)", ""},
      {R"("flow": "click", "count": 0, "batches": 4096)", ""},
      {R"("flow": "click", "count": 0, "batches": 4097)", place + "/batches: is out of range: 0 to 4096"},
      {R"("flow": ")" + flow + "\"",
       place + "/flow: \"" + flow +
           "\" is not one of mix, idle, click, double-click, split-double-click, long-press, actuator-timeout, "
           "amplifier-timeout, start, driver, retries, errors, amplifier-errors, random"},
      {R"("flow": ")" + flow + "x\"", place + "/flow: has 65 bytes, at most 64 are allowed"},
  };
  for (const auto& [keys, refusal] : rows) {
    try {
      profileRecords(keys);
      EXPECT_EQ("", refusal);
    } catch (const vel::formats::Error& error) {
      EXPECT_EQ(error.what(), refusal);
    }
  }
}

} // namespace
