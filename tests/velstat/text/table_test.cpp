// Cut text, and names made different.
#include <velstat/text/capture_values.h>
#include <velstat/text/table.h>

#include <gtest/gtest.h>

namespace {

using namespace vel::stat;

TEST(Cut, KeepsTheBeginning_OrBothEnds) {
  const struct {
    const char* text;
    std::size_t width;
    const char* beginning;
    const char* ends;
  } rows[] = {
      {"", 0, "", ""},
      {"abc", 3, "abc", "abc"},
      {"abcdef", 5, "abcd…", "ab…ef"},
      {"abcdef", 4, "abc…", "ab…f"},
      {"abcdef", 2, "a…", "a…"},
      {"abcdef", 1, "…", "…"},
      {"äöüßéè", 5, "äöüß…", "äö…éè"},
      {"äöüßéè", 6, "äöüßéè", "äöüßéè"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(cut(row.text, row.width), row.beginning) << row.text << ' ' << row.width;
    EXPECT_EQ(cutMiddle(row.text, row.width), row.ends) << row.text << ' ' << row.width;
  }
}

TEST(UniqueNames, CountTheSameOnes) {
  UniqueNames names;
  for (const char* expected : {"a", "b", "a (2)", "", "a (3)", " (2)"}) {
    const std::string text(expected);
    EXPECT_EQ(names.add(text.substr(0, text.find(" ("))), text);
  }
}

} // namespace
