// Tables in the width of a terminal.
#include <velstat/text/table.h>

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace vel::stat;

const Cells cells = {{"a", "name", "number"}, {"b", "a longer name", "1234567890"}, {"c", "", "5"}};

std::string table(std::size_t width, std::size_t indent = 2) {
  StringSink out;
  appendCells(out, cells, indent, Style(false, width));
  return out.take();
}

TEST(Table, WithoutAWidth_ColumnsAreAsWideAsTheirCells) {
  EXPECT_EQ(table(0), "  a  name           number\n"
                      "  b  a longer name  1234567890\n"
                      "  c                 5\n");
  EXPECT_EQ(table(30), table(0));
}

TEST(Table, TheWidestColumnsAreCut) {
  EXPECT_EQ(table(28), "  a  name         number\n"
                       "  b  a longer n…  1234567890\n"
                       "  c               5\n");
  EXPECT_EQ(table(23), "  a  name      number\n"
                       "  b  a longe…  1234567…\n"
                       "  c            5\n");
}

TEST(Table, ColumnsKeepAFewCharacters) {
  EXPECT_EQ(table(1), "  a  name    number\n"
                      "  b  a lon…  12345…\n"
                      "  c          5\n");
}

TEST(Table, FitsOrIsTransposed) {
  EXPECT_TRUE(fits(cells, 28));
  EXPECT_FALSE(fits(cells, 27));
  EXPECT_TRUE(fits(cells, 0));
  EXPECT_EQ(transposed(cells), (Cells{{"a", "b", "c"}, {"name", "a longer name", ""}, {"number", "1234567890", "5"}}));
}

} // namespace
