// Text made fit for a terminal.
#include <velstat/text/escape.h>

#include <gtest/gtest.h>

namespace {

using vel::stat::escape;

struct EscapeCase {
  const char* name;
  std::string text;
  const char* escaped;
};

class Escape : public testing::TestWithParam<EscapeCase> {};

TEST_P(Escape, ShowsWhatIsThere) {
  EXPECT_EQ(escape(GetParam().text), GetParam().escaped);
}

const EscapeCase escapeCases[] = {
    {"Empty", "", ""},
    {"Plain", "plain text", "plain text"},
    {"Letters", "\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80", "\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80"},
    {"Backslash", "a\\n", "a\\\\n"},
    {"LineAndTab", "a\n\tb", "a\\n\\tb"},
    {"Controls", std::string("\0\x1B[31m\r\x7F", 8), "\\x00\\x1B[31m\\x0D\\x7F"},
    {"SecondControls", "\xC2\x9B", "\\u{9B}"},
    {"DirectionMark",
     "a\xE2\x80\xAE"
     "b",
     "a\\u{202E}b"},
    {"LineSeparator", "\xE2\x80\xA8", "\\u{2028}"},
    {"ZeroWidth", "\xEF\xBB\xBF", "\\u{FEFF}"},
    {"LoneContinuation", "\x80", "\\x80"},
    {"CutSequence", "\xE2\x82", "\\xE2\\x82"},
    {"CutByAnother",
     "\xE2\x82"
     "a",
     "\\xE2\\x82a"},
    {"OverlongSlash", "\xC0\xAF", "\\xC0\\xAF"},
    {"OverlongThree", "\xE0\x80\xAF", "\\xE0\\x80\\xAF"},
    {"Surrogate", "\xED\xA0\x80", "\\xED\\xA0\\x80"},
    {"BeyondUnicode", "\xF4\x90\x80\x80", "\\xF4\\x90\\x80\\x80"},
    {"NoSuchLead", "\xFF", "\\xFF"},
};

INSTANTIATE_TEST_SUITE_P(Table, Escape, testing::ValuesIn(escapeCases),
                         [](const auto& info) { return info.param.name; });

} // namespace
