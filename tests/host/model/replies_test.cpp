// Reply lists: their order, and what a reply does to output and length.
#include <host/model/replies.h>

#include <gtest/gtest.h>

namespace {

using namespace vel::formats;
using namespace vel::host;

Bytes bytes(std::string_view text) {
  const auto* begin = reinterpret_cast<const std::byte*>(text.data());
  return {begin, begin + text.size()};
}

struct Answer {
  IOReturn result;
  std::size_t reported;
  std::string output;
};

// Asks for property 1 with this much room. The output is full of dots, the length that is there is 99.
Answer ask(ReplyBook& book, std::size_t room) {
  std::string output(8, '.');
  std::size_t reported = 99;
  const IOReturn result = book.property(1, std::as_writable_bytes(std::span(output).first(room)), reported);
  return {result, reported, output};
}

ReplyBook bookOf(std::vector<Reply> replies) {
  return ReplyBook({.properties = {{1, std::move(replies)}}, .commands = {}});
}

struct Case {
  const char* name;
  Reply reply;
  std::size_t room;
  Answer expected;
};

class Replies : public testing::TestWithParam<Case> {};

TEST_P(Replies, WriteWhatFitsAndReportWhatTheModelSays) {
  ReplyBook book = bookOf({GetParam().reply});
  const Answer answer = ask(book, GetParam().room);
  EXPECT_EQ(answer.result, GetParam().expected.result);
  EXPECT_EQ(answer.reported, GetParam().expected.reported);
  EXPECT_EQ(answer.output, GetParam().expected.output);
}

const Case cases[] = {
    {"Whole", {.content = bytes("abcd")}, 8, {0, 4, "abcd...."}},
    {"NothingButSuccess", {}, 8, {0, 99, "........"}},
    {"EmptyContent", {.content = Bytes()}, 8, {0, 0, "........"}},
    {"LongerThanTheRoom", {.content = bytes("abcdefgh")}, 3, {0, 3, "abc....."}},
    {"NoRoom", {.content = bytes("ab")}, 0, {0, 0, "........"}},
    {"LengthBeyondTheRoom", {.content = bytes("ab"), .length = 4096}, 8, {0, 4096, "ab......"}},
    {"LengthBelowTheContent", {.content = bytes("abcd"), .length = 2}, 8, {0, 2, "abcd...."}},
    {"LargestLength", {.length = UINT64_MAX}, 8, {0, SIZE_MAX, "........"}},
    {"FailureAlone", {.result = kIOReturnBusy}, 8, {kIOReturnBusy, 99, "........"}},
    {"FailureThatWrites", {.content = bytes("x"), .result = kIOReturnBusy}, 8, {kIOReturnBusy, 1, "x......."}},
};

INSTANTIATE_TEST_SUITE_P(Table, Replies, testing::ValuesIn(cases), [](const auto& info) { return info.param.name; });

TEST(ReplyBook, RepliesComeInOrderAndTheLastRepeats) {
  ReplyBook book = bookOf({{.content = bytes("a")}, {.result = kIOReturnBusy}, {.content = bytes("c")}});
  EXPECT_EQ(ask(book, 8).output, "a.......");
  EXPECT_EQ(ask(book, 8).result, kIOReturnBusy);
  EXPECT_EQ(ask(book, 8).output, "c.......");
  EXPECT_EQ(ask(book, 8).output, "c.......");
}

TEST(ReplyBook, PropertiesAndCommandsOfOneNumberAreApart) {
  ReplyBook book({.properties = {{1, {{.result = 11}}}}, .commands = {{1, {{.result = 22}}}}});
  std::size_t reported = 0;
  EXPECT_EQ(book.property(1, {}, reported), 11);
  EXPECT_EQ(book.command(1, {}, reported), 22);
}

TEST(ReplyBook, WhatHasNoReplyIsUnsupported) {
  ReplyBook book({});
  std::size_t reported = 5;
  EXPECT_EQ(book.property(1, {}, reported), kIOReturnUnsupported);
  EXPECT_EQ(book.command(1, {}, reported), kIOReturnUnsupported);
  EXPECT_EQ(reported, 5U);
}

} // namespace
