// Lines that are too long, broken in columns.
#include <velstat/text/wrap.h>

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace vel::stat;

struct Row {
  const char* name;
  std::string text;
  std::size_t width;
  std::string lines;
};

std::string wrapped(const Row& row) {
  StringSink out;
  WrappedLines lines(out, row.width);
  for (const char c : row.text) { // in the smallest pieces
    lines += c;
  }
  return out.take();
}

TEST(WrappedLines, Rows) {
  const Row rows[] = {
      {"a line that fits", "1234567890\n", 10, "1234567890\n"},
      {"no width", std::string(300, 'x') + "\n", 0, std::string(300, 'x') + "\n"},
      {"empty lines", "\n\na\n", 10, "\n\na\n"},
      {"at blanks, two columns in", "one two three four\n", 10, "one two\n  three\n  four\n"},
      {"a word that ends with the line", "one two 90 more\n", 10, "one two 90\n  more\n"},
      {"a word that is too long", "abcdefghijklmnop\n", 10, "abcdefghij\n  klmnop\n"},
      {"blanks at the break are dropped", "one two 90     more\n", 10, "one two 90\n  more\n"},
      {"blanks elsewhere are kept", "a   b c d e f g\n", 10, "a   b c d\n    e f g\n"},
      {"a value keeps its column", "k    one two three\n", 12, "k    one two\n     three\n"},
      {"not beyond half the width", "k   v   one two three\n", 12, "k   v   one\n    two\n    three\n"},
      {"the blanks at the beginning", "    one two three\n", 12, "    one two\n      three\n"},
      {"columns, not bytes", "äöü äöü äöü äöü\n", 11, "äöü äöü äöü\n  äöü\n"},
      {"colours take no columns", "\x1B[1mone\x1B[0m two 90\n", 10, "\x1B[1mone\x1B[0m two 90\n"},
      {"colours at the break", "\x1B[1mone two 90\x1B[0m more\n", 10, "\x1B[1mone two 90\x1B[0m\n  more\n"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(wrapped(row), row.lines) << row.name;
  }
}

TEST(WrappedLines, FitAnyWidth_AndLoseOnlyBlanks) {
  const std::string text = "key  value and ä long \x1B[1mvalue\x1B[0m " + std::string(50, 'y') + "   end\n";
  const auto withoutBlanks = [](std::string some) {
    std::erase_if(some, [](char c) { return c == ' ' || c == '\n'; });
    return some;
  };
  for (std::size_t width = 1; width < 100; ++width) {
    const std::string lines = wrapped({"", text, width, ""});
    EXPECT_EQ(withoutBlanks(lines), withoutBlanks(text)) << width;
  }
}

TEST(AppendWrapped, TheFirstLineContinuesOne) {
  StringSink out;
  appendWrapped(out, "one two three", 4, 11);
  EXPECT_EQ(out.text(), "one two\n    three");
}

TEST(AppendWrapped, WithoutAWidthNothingIsBroken) {
  StringSink out;
  appendWrapped(out, "one two three", 4, 0);
  EXPECT_EQ(out.text(), "one two three");
}

} // namespace
