// Text made fit for a terminal.
#include <velstat/text/escape.h>

#include <gtest/gtest.h>

namespace {

using namespace vel::stat;

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
    {"ArabicLetterMark", "\u061C", "\\u{61C}"},
    {"LeftToRightMark", "\u200E\u200F", "\\u{200E}\\u{200F}"},
    {"Isolates", "\u2066\u2069", "\\u{2066}\\u{2069}"},
};

INSTANTIATE_TEST_SUITE_P(Table, Escape, testing::ValuesIn(escapeCases),
                         [](const auto& info) { return info.param.name; });

struct KeyCase {
  const char* name;
  std::string key;
  std::string shown;
};

class EscapeKey : public testing::TestWithParam<KeyCase> {};

TEST_P(EscapeKey, TakesNoMoreThanSoManyColumns) {
  EXPECT_EQ(escapeKey(GetParam().key), GetParam().shown);
  EXPECT_LE(columns(escapeKey(GetParam().key)), widestKey);
}

std::string times(std::size_t count, std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < count; ++i) {
    out += text;
  }
  return out;
}

const KeyCase keyCases[] = {
    {"Short", "key\n", "key\\n"},
    {"AsWideAsAllowed", times(80, "k"), times(80, "k")},
    {"OneWider", times(80, "k") + "l", times(40, "k") + "…" + times(19, "k") + "l (81 bytes)"},
    {"AsWideInCharactersOfFourBytes", times(80, "\U0001F600"), times(80, "\U0001F600")},
    {"CharactersStayWhole", times(100, "\u20AC"), times(40, "\u20AC") + "…" + times(20, "\u20AC") + " (300 bytes)"},
    {"EscapesStayWhole", times(30, "\u202E"), times(5, "\\u{202E}") + "…" + times(2, "\\u{202E}") + " (90 bytes)"},
    {"NoUTF8", times(200, "\x80"), times(10, "\\x80") + "…" + times(5, "\\x80") + " (200 bytes)"},
    {"VeryLong", times(300'000, "k"), times(40, "k") + "…" + times(20, "k") + " (300000 bytes)"},
};

INSTANTIATE_TEST_SUITE_P(Table, EscapeKey, testing::ValuesIn(keyCases),
                         [](const auto& info) { return info.param.name; });

} // namespace
