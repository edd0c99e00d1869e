// The frame of a text: head, trailer, dump and times, for records without payload fields.
#include "given_times.h"
#include "record.h"

#include <gtest/gtest.h>

namespace {

constexpr char forty_four_zeros[] =
    "0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0";

class ProfileText : public testing::Test {
protected:
  ~ProfileText() override { given_times = {}; }
};

TEST_F(ProfileText, NothingKnown_EveryNameIsANumber) {
  EXPECT_EQ(text_of({12, 3, 4, 13}),
            "{  'category':    '12', 'component':     '3', 'event':         '4', 'type':        '13',"
            " 'timestamp':         0, 'sequence_num':         0,"
            " 'type-id':13, 'category-id':12, 'component-id':3, 'event-id':4, 'binary-data':[13,4,3,12," +
                std::string(forty_four_zeros) + "]}");
}

TEST_F(ProfileText, UnregisteredCategory_BeginsAsDocumented) {
  const std::string text = text_of({12, 0, 0, 2});
  EXPECT_EQ(text.substr(0, text.find(" 'timestamp'")),
            "{  'category':    '12', 'component':     '0', 'event':         '0', 'type':'short-data',");
}

TEST_F(ProfileText, AllNamesKnown) {
  EXPECT_EQ(text_of({0, 0, 0, 0}),
            "{  'category':'execution', 'component':'scheduler', 'event':'context-switch', 'type':      'stop',"
            " 'timestamp':         0, 'sequence_num':         0,"
            " 'type-id':0, 'category-id':0, 'component-id':0, 'event-id':0, 'binary-data':[0,0,0,0," +
                std::string(forty_four_zeros) + "]}");
}

TEST_F(ProfileText, Control_HasANameButNumericComponentsAndEvents) {
  const std::string text = text_of({8, 0, 0, 0});
  EXPECT_EQ(text.substr(0, text.find(" 'type'")),
            "{  'category':'control', 'component':     '0', 'event':         '0',");
}

TEST_F(ProfileText, NumbersWiderThanTheirField_AreWrittenWhole) {
  const std::string text = text_of(Record(12, 0, 0, 0).timestamp(UINT64_MAX).sequence(UINT32_MAX));
  EXPECT_NE(text.find(" 'timestamp':18446744073709551615, 'sequence_num':4294967295, 'type-id'"), std::string::npos)
      << text;
}

TEST_F(ProfileText, NumbersNarrowerThanTheirField_ArePaddedWithBlanks) {
  const std::string text = text_of(Record(12, 0, 0, 0).timestamp(123456789).sequence(42));
  EXPECT_NE(text.find(" 'timestamp': 123456789, 'sequence_num':        42,"), std::string::npos) << text;
}

TEST_F(ProfileText, BinaryData_ListsTheWholeRecordForEveryDatatype) {
  for (unsigned type = 0; type < 256; ++type) {
    const std::string text = text_of(Record(7, 0, 0, type).counting(100));
    const std::size_t begin = text.find(" 'binary-data':[");
    const std::string dump = text.substr(begin, text.find(']', begin) - begin);
    EXPECT_EQ(std::count(dump.begin(), dump.end(), ','), 47) << type;
    EXPECT_NE(dump.find(",100,101,102,"), std::string::npos) << type;
  }
}

struct TimesCase {
  const char* name;
  GivenTimes times;
  const char* end;
};

class TextWithTimes : public testing::TestWithParam<TimesCase> {
protected:
  ~TextWithTimes() override { given_times = {}; }
};

TEST_P(TextWithTimes, EndsWith) {
  given_times = GetParam().times;
  const std::string text = text_of(Record(12, 0, 0, 0));
  EXPECT_EQ(text.substr(text.find(']')), GetParam().end);
}

INSTANTIATE_TEST_SUITE_P(
    , TextWithTimes,
    testing::Values(
        TimesCase{"Neither", {}, "]}"},
        TimesCase{"CalendarAlone", {"Nov 21 08:15:02.000417", {}}, "], 'calendar-time':'Nov 21 08:15:02.000417'}"},
        TimesCase{"BootAlone", {{}, 1700000000000001}, "], 'boot-timestamp':1700000000000001}"},
        TimesCase{"Both", {"x", 0}, "], 'calendar-time':'x', 'boot-timestamp':0}"}),
    [](const auto& info) { return info.param.name; });

TEST_F(ProfileText, Helpers) {
  profile_decoder decoder;
  EXPECT_EQ(decoder.key("name"), " 'name':");
  EXPECT_EQ(decoder.key(""), " '':");
  EXPECT_EQ(decoder.str("value"), "'value'");
  EXPECT_EQ(decoder.str(std::string("a\0b", 3)), std::string("'a\0b'", 5));
  const unsigned char bytes[] = {0, 9, 10, 99, 100, 255};
  EXPECT_EQ(decoder.dump(bytes, 0), "[]");
  EXPECT_EQ(decoder.dump(bytes, 1), "[0]");
  EXPECT_EQ(decoder.dump(bytes, 6), "[0,9,10,99,100,255]");
}

} // namespace
