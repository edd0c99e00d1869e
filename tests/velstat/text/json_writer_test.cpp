// JSON as text.
#include <velstat/text/json_writer.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

using namespace vel::formats;
using namespace vel::stat;

std::string write(const Value& value, JsonWriter::Form form = JsonWriter::Form::oneLine) {
  StringSink out;
  JsonWriter(out, form).value(value);
  return out.take();
}

TEST(JsonWriter, EachType) {
  EXPECT_EQ(write({std::string("a")}), "\"a\"");
  EXPECT_EQ(write({std::numeric_limits<std::int64_t>::min()}), "-9223372036854775808");
  EXPECT_EQ(write({true}), "true");
  EXPECT_EQ(write({false}), "false");
  EXPECT_EQ(write({0.1}), "0.1");
  EXPECT_EQ(write({Bytes{std::byte{0}, std::byte{0xAB}}}), "{\"$data\": \"00ab\"}");
  EXPECT_EQ(write({Dictionary()}), "{}");
  EXPECT_EQ(write({Array()}), "[]");
}

TEST(JsonWriter, NumbersThatJSONLacks_AreNull) {
  EXPECT_EQ(write({std::nan("")}), "null");
  EXPECT_EQ(write({-HUGE_VAL}), "null");
}

TEST(JsonWriter, TextIsEscaped) {
  EXPECT_EQ(write({std::string("\"\\/\n\t\x01\x7F\xC3\xA9", 9)}), "\"\\\"\\\\/\\n\\u0009\\u0001\\u007f\xC3\xA9\"");
  EXPECT_EQ(write({std::string("a\0b", 3)}), "\"a\\u0000b\"");
}

TEST(JsonWriter, WhatATerminalWouldActOn_IsWrittenAsItsNumber) {
  EXPECT_EQ(write({std::string("\u0080\u009F\u061C\u200E\u200F\u202A\u202E\u2066\u2069\uFEFF\U000E0001")}),
            R"("\u0080\u009f\u061c\u200e\u200f\u202a\u202e\u2066\u2069\ufeff\udb40\udc01")");
  EXPECT_EQ(write({Dictionary{{"\u009B", {true}}}}), R"({"\u009b": true})");
  EXPECT_EQ(write({std::string("\u00A0\u20AC\U0001F600")}), "\"\u00A0\u20AC\U0001F600\"");
}

TEST(JsonWriter, BytesThatAreNotUTF8_AreReplaced) {
  EXPECT_EQ(write({std::string("a\xFF"
                               "b")}),
            "\"a\xEF\xBF\xBD"
            "b\"");
}

TEST(JsonWriter, OneLine) {
  EXPECT_EQ(write({Dictionary{{"a", {std::int64_t{1}}}, {"b", {Array{{true}, {false}}}}}}),
            "{\"a\": 1, \"b\": [true, false]}");
}

TEST(JsonWriter, Indented) {
  EXPECT_EQ(
      write({Dictionary{{"a", {std::int64_t{1}}}, {"b", {Array{{true}, {Dictionary()}}}}}}, JsonWriter::Form::indented),
      "{\n  \"a\": 1,\n  \"b\": [\n    true,\n    {}\n  ]\n}");
}

} // namespace
