// The summary of lines of profile records, including lines that pretend to be something else.
#include <velstat/capture/profile_summary.h>

#include <gtest/gtest.h>

namespace {

using namespace vel::stat;

struct BriefCase {
  const char* name;
  const char* line;
  const char* brief;
};

class ProfileBriefs : public testing::TestWithParam<BriefCase> {};

TEST_P(ProfileBriefs, TellTimeAndKind) {
  EXPECT_EQ(readProfileLine(GetParam().line).brief(), GetParam().brief);
}

const BriefCase briefCases[] = {
    {"Whole",
     "{  'category':  'uart', 'component': 'uart1', 'event':    'packet', 'type':'short-data', 'timestamp':        12, "
     "'binary-data':[1,2], 'calendar-time':'Nov 08 00:20:05.000000', 'boot-timestamp':17}",
     "Nov 08 00:20:05.000000  uart uart1 packet"},
    {"WithoutCalendarTime",
     "{  'category':  'uart', 'component': 'uart1', 'event':    'packet', 'timestamp':        12, 'binary-data':[]}",
     "12  uart uart1 packet"},
    {"TraceIsToldByItsAction",
     "{  'category':  'zorb', 'component':'halden', 'event':     'trace', 'timestamp': 7, 'trace':          "
     "'HaldenCLTimeOut', 'thread': 1}",
     "7  zorb halden HaldenCLTimeOut"},
    {"OtherEventsWithAnActionKeepTheirName",
     "{  'category':  'zorb', 'component':'latency', 'event': 'ckp_ARCReady', 'timestamp': 7, 'trace': 'SetState'}",
     "7  zorb latency ckp_ARCReady"},
    {"NumbersInPlaceOfNames", "{  'category':    '12', 'component':     '0', 'event':  '9', 'timestamp': 3,",
     "3  12 0 9"},
    {"PayloadThatLooksLikeATime",
     "{  'category': 'a', 'component': 'b', 'event': 'c', 'timestamp': 3, 'name':' 'calendar-time':'never'', "
     "'calendar-time':'Nov 08'}",
     "Nov 08  a b c"},
    {"PayloadThatLooksLikeACategory",
     "{  'category': 'a', 'component': 'b', 'event': 'c', 'timestamp': 3, 'name':' 'category':'never''}", "3  a b c"},
    {"CutInAValue", "{  'category': 'a', 'component': 'b", "  a b "},
    {"CutBehindAKey", "{  'category':", "    "},
    {"Empty", "", "    "},
};

INSTANTIATE_TEST_SUITE_P(Table, ProfileBriefs, testing::ValuesIn(briefCases),
                         [](const auto& info) { return info.param.name; });

const std::vector<std::string_view> lines = {
    " 'category':'b', 'component':'x', 'event':'e'", " 'category':'a', 'component':'x', 'event':'e'",
    " 'category':'b', 'component':'x', 'event':'e'", " 'category':'b', 'component':'y', 'event':'e'",
    " 'category':'c', 'component':'x', 'event':'e'",
};

TEST(ProfileSummary, CategoriesAreCountedTheLargestFirst) {
  EXPECT_EQ(categoriesText(lines), "b 3, a 1, c 1");
  EXPECT_EQ(categoriesText({}), "");
}

TEST(ProfileSummary, KindsBeyondTheMostAreOnlyCounted) {
  EXPECT_EQ(kindsText(lines, 4), "b x e × 2, a x e × 1, b y e × 1, c x e × 1");
  EXPECT_EQ(kindsText(lines, 2), "b x e × 2, a x e × 1, … 4 kinds in all");
}

} // namespace
