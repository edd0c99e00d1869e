// How the records of a capture are folded: whole texts.
#include <velstat/capture/record_groups.h>

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using namespace vel;
using namespace vel::stat;
using formats::Array;
using formats::Dictionary;
using formats::Value;

host::CapturedRecord record(std::size_t handler, std::string title, Value value) {
  host::CapturedRecord captured{handler, {}, {}};
  captured.record.title = std::move(title);
  captured.record.value = std::move(value);
  return captured;
}

std::string folded(const std::vector<host::CapturedRecord>& records) {
  StringSink out;
  appendRecordGroups(out, records, Style(false));
  return out.take();
}

Value number(std::int64_t value) {
  return {value};
}
Value text(const char* value) {
  return {std::string(value)};
}

TEST(RecordGroups, OneDictionary_IsATree) {
  EXPECT_EQ(folded({record(3, "one", {Dictionary{{"a", number(1)}, {"bc", text("x")}}})}), "\n"
                                                                                           "  one  state handler 3\n"
                                                                                           "    a   1\n"
                                                                                           "    bc  x\n");
}

TEST(RecordGroups, ManyLeaves_AreCut) {
  Dictionary twelve;
  for (int i = 10; i < 22; ++i) {
    twelve.push_back({std::to_string(i), number(i)});
  }
  Dictionary thirteen = twelve;
  thirteen.push_back({"22", number(22)});
  const std::string whole = folded({record(1, "t", {twelve})});
  EXPECT_EQ(std::count(whole.begin(), whole.end(), '\n'), 2 + 12);
  EXPECT_EQ(folded({record(1, "t", {thirteen})}), "\n"
                                                  "  t  state handler 1\n"
                                                  "    10  10\n"
                                                  "    11  11\n"
                                                  "    12  12\n"
                                                  "    13  13\n"
                                                  "    14  14\n"
                                                  "    15  15\n"
                                                  "    … 7 more (--all)\n");
}

TEST(RecordGroups, NeighboursOfTheSameKeys_AreATable) {
  const Dictionary clicks = {{"count", number(2)},
                             {"click 1", {Dictionary{{"down", number(10)}, {"up", number(2000)}}}},
                             {"click 2", {Dictionary{{"down", number(7)}, {"up", number(8)}}}},
                             {"other", {Dictionary{{"key", number(1)}}}}};
  EXPECT_EQ(folded({record(1, "t", {clicks})}), "\n"
                                                "  t  state handler 1\n"
                                                "    count  2\n"
                                                "             down  up\n"
                                                "    click 1  10    2000\n"
                                                "    click 2  7     8\n"
                                                "    other\n"
                                                "      key  1\n");
}

TEST(RecordGroups, RecordsOfSensors_AreLinesOfOneTable) {
  const auto sensor = [](const char* type, const char* client) {
    return Value{Dictionary{{"reportInterval", number(10)},
                            {"sensorType", text(type)},
                            {"matrix", text("1 0 0")},
                            {"client0", text(client)},
                            {"client3", text("last: report=1")}}};
  };
  EXPECT_EQ(folded({record(4, "SensorInfo", sensor("accel", "first: report=1")),
                    record(5, "SensorInfo", sensor("\x1B[31m", "a name that is longer than any column is wide"))}),
            "\n"
            "  SensorInfo and 1 more like it  state handlers 4 to 5\n"
            "    sensorType  manufacturer  model  reportInterval  client                              extra  APEvents\n"
            "    accel                            10              first, last\n"
            "    \\x1B[31m                         10              a name that is longer than any co…\n"
            "    … all 10 values (--all)\n");
}

TEST(RecordGroups, OtherDictionariesOfOneTitle_AreToldByTheFirst) {
  EXPECT_EQ(folded({record(1, "t", {Dictionary{{"a", number(1)}}}), record(7, "t", {Dictionary{{"a", number(2)}}})}),
            "\n"
            "  t and 1 more like it  2 of state handlers 1 to 7\n"
            "    a  1\n"
            "    … 1 more like it (--all)\n");
}

TEST(RecordGroups, TitlesThatDifferInNumbersAlone_AreOneGroup) {
  const auto linesOf = [](const char* category) {
    const std::string line =
        std::string(" 'category':'") + category + "', 'component':'x', 'event':'e', 'timestamp':5,";
    return Value{Array{{line}, {line}}};
  };
  EXPECT_EQ(folded({record(1, "P 0 ;count=2", linesOf("a")), record(2, "P 10 ;count=32", linesOf("b")),
                    record(3, "Q 0 ;count=2", linesOf("c"))}),
            "\n"
            "  P 0 ;count=2 and 1 more like it  state handlers 1 to 2, 4 lines\n"
            "    categories  a 2, b 2\n"
            "    commonest   a x e × 2, b x e × 2\n"
            "    5  a x e\n"
            "    5  a x e\n"
            "    5  b x e\n"
            "    … 1 more (--all)\n"
            "\n"
            "  Q 0 ;count=2  state handler 3, 2 lines\n"
            "    categories  c 2\n"
            "    commonest   c x e × 2\n"
            "    5  c x e\n"
            "    5  c x e\n");
}

TEST(RecordGroups, RecordsOfOneTitleAndDifferentTypes_AreGroupsOfTheirOwn) {
  const Value sensor = {Dictionary{{"sensorType", text("accel")}}};
  EXPECT_EQ(folded({record(1, "t", sensor), record(2, "t", text("a")), record(3, "t", number(5)),
                    record(4, "t", sensor), record(5, "t", text("b"))}),
            "\n  t and 1 more like it  2 of state handlers 1 to 4\n"
            "    sensorType  manufacturer  model  reportInterval  client  extra  APEvents\n"
            "    accel\n"
            "    accel\n"
            "    … all 2 values (--all)\n"
            "\n  t and 1 more like it  2 of state handlers 2 to 5\n"
            "    a\n"
            "    … 1 more like it (--all)\n"
            "\n  t  state handler 3\n    5\n");
}

TEST(RecordGroups, ContentsOfAnyType) {
  EXPECT_EQ(folded({record(1, "a", {Array{}}), record(2, "b", number(5)), record(3, "c", {Dictionary{}}),
                    record(4, "d", {Array{number(1), {Array{}}}})}),
            "\n  a  state handler 1, 0 lines\n    no lines\n"
            "\n  b  state handler 2\n    5\n"
            "\n  c  state handler 3\n"
            "\n  d  state handler 4, 2 lines\n    no lines\n");
}

} // namespace
