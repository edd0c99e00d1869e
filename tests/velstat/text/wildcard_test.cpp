// Globs: rows of pattern, name and whether they match.
#include <velstat/text/wildcard.h>

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using namespace std::string_literals;
using vel::stat::Wildcard;

TEST(Wildcard, MatchesWholeNames) {
  struct Row {
    const char* pattern;
    std::string name;
    bool matches;
  };
  const Row rows[] = {
      {"", "", true},
      {"", "a", false},
      {"abc", "abc", true},
      {"abc", "abcd", false},
      {"abc", "ab", false},
      {"*", "", true},
      {"*", "anything at all", true},
      {"a*", "bab", false},
      {"*b", "bab", true},
      {"*b", "bac", false},
      {"a*b*c", "a-b-b-c", true},
      {"a*b*c", "a-c-b", false},
      {"**a", "ba", true},
      {"?", "", false},
      {"?", "\u20AC", true}, // one character of three bytes
      {"?", "\xE2\x82", false},
      {"??", "\xE2\x82", true}, // two bytes that are not a character
      {"[abc]", "b", true},
      {"[abc]", "d", false},
      {"[a-c]x", "bx", true},
      {"[!a-c]", "b", false},
      {"[^a-c]", "d", true},
      {"[!a-c]", "", false},
      {"[]a]", "]", true},
      {"[!]a]", "]", false},
      {"[a-]", "-", true},
      {"[\\]]", "]", true},
      {"[\u00E0-\u00EF]", "\u00E9", true},
      {"[\x80-\xFF]", "\u0080", false}, // bytes that are not UTF-8 match as bytes, not as characters
      {"[\x80-\xFF]", "\x90", true},
      {"\\*", "*", true},
      {"\\*", "x", false},
      {"\\a", "a", true},
      {"a]", "a]", true},
      {"a", "a\0"s, false},
      {"a?b", "a\0b"s, true},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(Wildcard(row.pattern).matches(row.name), row.matches) << row.pattern << " and " << row.name;
  }
}

TEST(Wildcard, ManyStars_EndSoon) {
  std::string pattern;
  for (int i = 0; i < 100; ++i) {
    pattern += "*a";
  }
  const Wildcard glob(pattern + "b");
  EXPECT_FALSE(glob.matches(std::string(10'000, 'a')));
  EXPECT_TRUE(glob.matches(std::string(10'000, 'a') + 'b'));
}

TEST(Wildcard, WrongPatternsAreRefused) {
  const std::pair<const char*, const char*> rows[] = {
      {"a\\", "a backslash at the end"},  {"[a", "a \"[\" without its \"]\""},
      {"[", "a \"[\" without its \"]\""}, {"[]", "a \"[\" without its \"]\""},
      {"[a\\", "a backslash at the end"}, {"[c-a]", "a range that ends before it begins"},
  };
  for (const auto& [pattern, message] : rows) {
    try {
      Wildcard glob(pattern);
      ADD_FAILURE() << pattern << " was accepted";
    } catch (const std::invalid_argument& error) {
      EXPECT_STREQ(error.what(), message) << pattern;
    }
  }
}

} // namespace
