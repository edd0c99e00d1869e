// How the replies of a sensor read in its report.

#include "sensor_fixture.h"
#include <control/calls.h>

#include <algorithm>

namespace vel::test {
namespace {

using formats::Value;
using testing::IsEmpty;
using Texts = SensorTest::Texts;

struct SensorReplies : SensorTest {
  // The properties 57 to 60.
  void setStreams(const std::vector<Reply>& streams) {
    for (std::uint32_t i = 0; i < 4; ++i) {
      replies[57 + i] = i < streams.size() ? streams[i] : Reply{};
    }
  }
};

// One reply, the key that it appears under, and the text there; a null text: no such key.
struct TextCase {
  const char* name;
  std::uint32_t property;
  Bytes reply;
  const char* key;
  const char* text;
};

TEST_F(SensorReplies, Texts) {
  const std::string full(32, 'm');
  const TextCase cases[] = {
      {"the terminator ends it", 15, text("ab") + Bytes{0} + text("cd", 29), "manufacturer", "ab"},
      {"without terminator it ends with its field", 15, text(full), "manufacturer", full.c_str()},
      {"more than the field", 16, text(full + "more"), "model", full.c_str()},
      {"nothing", 16, {}, "model", ""},
      {"not ASCII", 15, text("Caf\xC3\xA9", 32), "manufacturer", nullptr},
      {"not ASCII behind the terminator", 16, text("ab") + Bytes{0, 0xFF}, "model", "ab"},

      {"no letter", 68, Bytes{0} + words(5), "location", "N/A"},
      {"a letter", 68, Bytes{'A'} + words(2), "location", "A alternate=2"},
      {"a negative alternate", 68, Bytes{'z'} + words(-2), "location", "z alternate=-2"},
      {"any letter", 68, Bytes{1} + words(0), "location", "\x01 alternate=0"},
      {"a letter that is not ASCII", 68, Bytes{0x80} + words(2), "location", nullptr},

      // In single precision these would read 32768 and 0.007813.
      {"fractions", 11, words(INT32_MAX, INT32_MIN, -1, 513, 16777217, 0, 0, 0, 0), "calibrationMatrix",
       "32767.999985 -32768.000000 -0.000015 | 0.007828 256.000015 0.000000 | 0.000000 0.000000 0.000000"},
      {"the compass's fractions", 29, words(0, 0, 0, 0, 0, 0, 98304, -98304, INT32_MAX),
       "compassSensitivityCalibrationMatrix",
       "0.000000 0.000000 0.000000 | 0.000000 0.000000 0.000000 | 1.500000 -1.500000 32767.999985"},
      {"the widest fractions", 11,
       words(INT32_MIN, INT32_MIN, INT32_MIN, INT32_MIN, INT32_MIN, INT32_MIN, INT32_MIN, INT32_MIN, INT32_MIN),
       "calibrationMatrix",
       "-32768.000000 -32768.000000 -32768.000000 | -32768.000000 -32768.000000 -32768.000000 | "
       "-32768.000000 -32768.000000 -32768.000000"},
      {"offsets", 26, words(INT32_MAX, INT32_MIN, 0), "calibrationOffset", "2147483647 -2147483648 0"},
      {"orientation", 24, {0x7F, 0x80, 0xFF, 0, 1, 2, 3, 4, 5}, "orientationMatrix", "127 -128 -1, 0 1 2, 3 4 5"},
  };
  for (const TextCase& row : cases) {
    SCOPED_TRACE(row.name);
    replies = allReplies();
    replies[row.property] = {row.reply};
    const Value state = report();
    const Value* value = state.find(row.key);
    if (row.text != nullptr) {
      ASSERT_NE(value, nullptr);
      EXPECT_EQ(*value, string(row.text));
    } else {
      EXPECT_EQ(value, nullptr);
    }
  }
  EXPECT_THAT(logMessages(), IsEmpty());
}

struct RegistersCase {
  std::uint32_t n;
  int shown;
};

TEST_F(SensorReplies, Registers_EverySecondPairBelowN) {
  replies[56] = {words(4) + Bytes{0x10, 0, 1, 0, 0x11, 0, 2, 0, 0x12, 0, 3, 0, 0x13, 0, 4, 0}};
  EXPECT_EQ(textsOf("registers"), (Texts{{"registers", "R10=01 R12=03 "}}));

  const RegistersCase cases[] = {{0, 0},   {1, 1},   {2, 1},   {3, 2},    {29, 15},         {30, 15},
                                 {31, 16}, {32, 16}, {33, 16}, {100, 16}, {0xFFFFFFFF, 16}, {0x80000000, 16}};
  for (const RegistersCase& row : cases) {
    Bytes reply = words(row.n);
    std::string expected;
    for (std::uint16_t pair = 0; pair < 31; ++pair) {
      reply = reply + le(static_cast<std::uint16_t>(pair + 1)) + le(static_cast<std::uint16_t>(0xFFFF - pair));
    }
    for (int i = 0; i < row.shown; ++i) {
      char text[32];
      std::snprintf(text, sizeof text, "R%02x=%02x ", 2 * i + 1, 0xFFFF - 2 * i);
      expected += text;
    }
    ASSERT_EQ(reply.size(), 128U);
    replies[56] = {reply};
    EXPECT_EQ(textsOf("registers"), (Texts{{"registers", expected}})) << row.n;
  }

  replies[56] = {words(1) + Bytes{0xCD, 0xAB, 0x34, 0x12}};
  EXPECT_EQ(textsOf("registers"), (Texts{{"registers", "Rabcd=1234 "}}));
  replies[56] = {words(1) + Bytes{0, 0, 0, 0}};
  EXPECT_EQ(textsOf("registers"), (Texts{{"registers", "R00=00 "}}));
}

// Four replies, of the properties 57 to 60, and the entries that they make.
struct StreamsCase {
  const char* name;
  std::vector<Reply> replies;
  Texts texts;
};

TEST_F(SensorReplies, Extras) {
  const Bytes a = {2, 'a', 0};
  const Bytes longText = Bytes{2} + text(std::string(255, 'x'));
  const StreamsCase cases[] = {
      {"nothing at all", {{}, {}, {}, {}}, {}},
      {"text, number, hexadecimal number",
       {{Bytes{2, 'x', '=', 0, 0} + words(255) + Bytes{4, 0} + words(255)}, {}, {}, {}},
       {{"extra0", "x=255ff"}}},
      {"the count runs on",
       {{a + Bytes{3} + a}, {a}, {}, {a}},
       {{"extra0", "a"}, {"extra1", "a"}, {"extra2", "a"}, {"extra3", "a"}}},
      {"two ends in a row make an empty entry",
       {{a + Bytes{3, 3} + a}, {}, {}, {}},
       {{"extra0", "a"}, {"extra1", ""}, {"extra2", "a"}}},
      {"two ends at the very end make none", {{a + Bytes{3, 3}}, {a}, {}, {}}, {{"extra0", "a"}, {"extra1", "a"}}},
      {"a pending end does not reach the next property", {{Bytes{3}}, {Bytes{3}}, {a}, {}}, {{"extra0", "a"}}},
      {"each property starts in decimal",
       {{Bytes{4, 0} + words(10)}, {Bytes{0} + words(10)}, {}, {}},
       {{"extra0", "a"}, {"extra1", "10"}}},
      {"text that is not ASCII is left out but counted",
       {{a}, {{2, 0xFF, 0}}, {a}, {}},
       {{"extra0", "a"}, {"extra2", "a"}}},
      {"a payload goes on into the bytes of earlier replies",
       {{Bytes{2, 'a', 'b', 'c', 0}}, {{2, 'z'}}, {.bytes = {2}, .length = 1}, {}},
       {{"extra0", "abc"}, {"extra1", "zbc"}, {"extra2", "zbc"}}},
      {"a failing read has no entries, but may leave bytes",
       {{.bytes = {2, 'a', 'b', 0}, .result = kFailure}, {{2}}, {}, {}},
       {{"extra0", "ab"}}},
      {"a number goes on into the bytes of earlier replies",
       {{Bytes{0} + words(0x01020304)}, {{0, 5}}, {}, {}},
       {{"extra0", "16909060"}, {"extra1", "16909061"}}},
      {"a full buffer without an end",
       {{longText}, {.bytes = {}, .length = 1}, {}, {}},
       {{"extra0", std::string(255, 'x')}, {"extra1", std::string(255, 'x')}}},
      {"a length above the buffer counts as the buffer",
       {{.bytes = a + Bytes(253, 6), .length = 257}, {}, {}, {}},
       {{"extra0", "a"}}},
      {"an endless length too", {{}, {}, {}, {.bytes = a + Bytes(253, 6), .length = PTRDIFF_MAX}}, {{"extra0", "a"}}},
  };
  for (const StreamsCase& row : cases) {
    setStreams(row.replies);
    EXPECT_EQ(textsOf("extra"), row.texts) << row.name;
  }
  EXPECT_THAT(logMessages(), IsEmpty());
}

TEST_F(SensorReplies, ExtraWhoseKeyCannotBeMade_IsCounted) {
  setStreams({{{2, 'a', 0}}, {{2, 'b', 0}}});
  control::startRecording();
  ask();
  std::vector<std::string> calls = control::stopRecording();
  std::erase_if(calls, [](const std::string& call) { return !call.starts_with("CFStringCreateWithCString("); });
  const auto key = std::find_if(calls.begin(), calls.end(), [](const std::string& call) {
    return call.starts_with("CFStringCreateWithCString(extra0");
  });
  ASSERT_NE(key, calls.end());
  control::failCall("CFStringCreateWithCString", static_cast<std::uint64_t>(key - calls.begin()) + 1);
  EXPECT_EQ(textsOf("extra"), (Texts{{"extra1", "b"}}));
}

struct ClientsCase {
  const char* name;
  Reply reply;
  Texts texts;
};

TEST_F(SensorReplies, Clients) {
  const Bytes used = entry({.name = "c", .report = 1, .batch = 2, .threshold = 3, .limit = 4});
  const Bytes unused = entry({.name = "c", .active = 0});
  const std::string plain = "c: report=1 batch=2 threshold=3 timelimit=4";
  Bytes full;
  Texts all;
  for (int i = 0; i < 16; ++i) {
    full = full + used;
    all.emplace_back("client" + std::to_string(i), plain);
  }
  const Texts allButOne(all.begin(), all.end() - 1);
  const ClientsCase cases[] = {
      {"none", {}, {}},
      {"less than an entry", {Bytes(used.begin(), used.end() - 1)}, {}},
      {"one", {used}, {{"client0", plain}}},
      {"one and a part", {used + Bytes(30, 0xFF)}, {{"client0", plain}}},
      {"the second alone", {unused + used}, {{"client1", plain}}},
      {"gaps", {unused + used + unused + unused + used}, {{"client1", plain}, {"client4", plain}}},
      {"any number is a flag",
       {entry({.name = "c", .active = 0x80})},
       {{"client0", "c: report=0 batch=0 threshold=0 timelimit=0"}}},
      {"a byte less than the buffer", {Bytes(full.begin(), full.end() - 1)}, allButOne},
      {"the buffer", {full}, all},
      {"said to be more than the buffer", {.bytes = full, .length = 497}, all},
      {"said to be endless", {.bytes = full, .length = PTRDIFF_MAX}, all},
      {"said to be less", {.bytes = full, .length = 495}, allButOne},
      {"said to be more than was written", {.bytes = used, .length = 496}, {{"client0", plain}}},
      {"a name of its whole field",
       {entry({.name = "abcdefghijkl", .report = 0x6F6F6F6F})},
       {{"client0", "abcdefghijkl: report=1869573999 batch=0 threshold=0 timelimit=0"}}},
      {"the longest line",
       {entry({.name = "abcdefghijkl",
               .report = INT32_MIN,
               .batch = INT32_MIN,
               .threshold = 0x80000000,
               .limit = 0x80000000})},
       {{"client0", "abcdefghijkl: report=-2147483648 batch=-2147483648 threshold=-2147483648 timelimit=-2147483648"}}},
      {"no name", {entry({})}, {{"client0", ": report=0 batch=0 threshold=0 timelimit=0"}}},
      {"a name that is not ASCII", {entry({.name = "\xFF"}) + used}, {{"client1", plain}}},
      {"all numbers are signed",
       {entry({.name = "c", .report = -1, .batch = INT32_MIN, .threshold = 0xFFFFFFFE, .limit = 0x80000000})},
       {{"client0", "c: report=-1 batch=-2147483648 threshold=-2 timelimit=-2147483648"}}},
  };
  for (const ClientsCase& row : cases) {
    clients = row.reply;
    EXPECT_EQ(textsOf("client"), row.texts) << row.name;
  }
  EXPECT_THAT(logMessages(), IsEmpty());
}

} // namespace
} // namespace vel::test
