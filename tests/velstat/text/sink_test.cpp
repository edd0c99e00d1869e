// Where rendered text goes.
#include <velstat/text/sink.h>

#include <gtest/gtest.h>

namespace {

using namespace vel::stat;

TEST(Sink, BlanksAreOfAnyNumber) {
  for (const std::size_t count : {0, 1, 63, 64, 65, 200}) {
    StringSink out;
    out.blanks(count);
    EXPECT_EQ(out.text(), std::string(count, ' '));
  }
}

TEST(Measure, ThrowsBeyondItsLimit) {
  Measure length(5);
  length += "abc";
  length += "de";
  EXPECT_EQ(length.length(), 5U);
  EXPECT_THROW(length += 'f', TooLong);
}

} // namespace
