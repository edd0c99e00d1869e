// What a node of a JSON document may be read as, and up to which size.
#include <formats/error.h>
#include <formats/json_node.h>

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cstdint>
#include <functional>
#include <limits>

namespace {

using namespace vel::formats;

// What reading the node of a document yields, as text; or its refusal, from behind the place.
std::string reading(const std::string& json, const std::function<std::string(const JsonNode&)>& read) {
  static const std::string name = "test";
  const Json document = parseJson("[" + json + "]", name);
  try {
    return read(JsonNode(document, name).items(1).front());
  } catch (const Error& error) {
    const std::string place = "test: /0: ";
    const std::string text = error.what();
    return text.starts_with(place) ? text.substr(place.size()) : text;
  }
}

struct Reading {
  const char* json;
  const char* result;
};

std::string readNumber(const JsonNode& node) {
  return fmt::format("{}", node.unsignedNumber(10));
}
std::string readSigned(const JsonNode& node) {
  return fmt::format("{}", node.signedNumber(-5, 10));
}
std::string readLargest(const JsonNode& node) {
  return fmt::format("{}", node.unsignedNumber(std::numeric_limits<std::uint64_t>::max()));
}

TEST(JsonNode, WholeNumbers_AreDecimalOrHexadecimalInAString) {
  const Reading rows[] = {
      {"0", "0"},
      {"10", "10"},
      {"11", "is out of range: 0 to 10"},
      {"-1", "is out of range: 0 to 10"},
      {"\"0x0\"", "0"},
      {"\"0x00A\"", "10"},
      {"\"0xa\"", "10"},
      {"\"0xB\"", "is out of range: 0 to 10"},
      {"1.0", "is a fraction or too large, must be a whole number"},
      {"18446744073709551616", "is a fraction or too large, must be a whole number"},
      {"null", "is null, must be a whole number"},
      {"true", "is a boolean, must be a whole number"},
      {"[]", "is an array, must be a whole number"},
      {"{}", "is an object, must be a whole number"},
  };
  for (const Reading& row : rows) {
    EXPECT_EQ(reading(row.json, readNumber), row.result) << row.json;
  }
  for (const char* const text : {"", "0", "10", "0x", "x1", "0X1", "0x1g", "0x 1", " 0x1", "0x1 ", "0x-1", "0x+1"}) {
    EXPECT_EQ(reading(fmt::format("\"{}\"", text), readNumber),
              fmt::format("\"{}\" is not a number; a number in a string is written as \"0x2A\"", text));
  }
  EXPECT_EQ(reading("\"0xFFFFFFFFFFFFFFFF\"", readLargest), "18446744073709551615");
  EXPECT_EQ(reading("18446744073709551615", readLargest), "18446744073709551615");
  EXPECT_EQ(reading("\"0x10000000000000000\"", readLargest),
            "\"0x10000000000000000\" is not a number; a number in a string is written as \"0x2A\"");
}

TEST(JsonNode, SignedNumbers_HaveTwoEnds) {
  const Reading rows[] = {
      {"-5", "-5"},
      {"-6", "is out of range: -5 to 10"},
      {"10", "10"},
      {"11", "is out of range: -5 to 10"},
      {"18446744073709551615", "is out of range: -5 to 10"},
      {"\"0xA\"", "10"},
      {"\"0xB\"", "is out of range: -5 to 10"},
      {"\"0xFFFFFFFFFFFFFFFF\"", "is out of range: -5 to 10"},
      {"\"-5\"", "\"-5\" is not a number; a number in a string is written as \"0x2A\""},
      {"0.5", "is a fraction or too large, must be a whole number"},
      {"false", "is a boolean, must be a whole number"},
  };
  for (const Reading& row : rows) {
    EXPECT_EQ(reading(row.json, readSigned), row.result) << row.json;
  }
}

TEST(JsonNode, Codes_HaveThirtyTwoBits) {
  const auto read = [](const JsonNode& node) { return fmt::format("{}", node.code()); };
  EXPECT_EQ(reading("\"0xE00002BC\"", read), "-536870212");
  EXPECT_EQ(reading("4294967295", read), "-1");
  EXPECT_EQ(reading("4294967296", read), "is out of range: 0 to 4294967295");
}

TEST(JsonNode, RealNumbers_HaveTwoEnds) {
  const auto read = [](const JsonNode& node) { return fmt::format("{}", node.real(-1.5, 2)); };
  const Reading rows[] = {
      {"-1.5", "-1.5"},
      {"-1.6", "is out of range: -1.5 to 2"},
      {"2", "2"},
      {"2.1", "is out of range: -1.5 to 2"},
      {"\"2\"", "is a string, must be a number"},
  };
  for (const Reading& row : rows) {
    EXPECT_EQ(reading(row.json, read), row.result) << row.json;
  }
}

TEST(JsonNode, Hexadecimal_IsPairsOfDigitsWithBlanksBetween) {
  const auto read = [](const JsonNode& node) {
    std::string text;
    for (const std::byte byte : node.hex(2)) {
      text += fmt::format("{:02x};", std::to_integer<unsigned>(byte));
    }
    return text;
  };
  const Reading rows[] = {
      {"\"\"", ""},
      {"\"09aFA0\"", "has 3 bytes, at most 2 are allowed"},
      {"\"09aF\"", "09;af;"},
      {"\" f0  Af \"", "f0;af;"},
      {"\"0 0\"", "character 2 is not a hexadecimal digit"},
      {"\"00/\"", "character 3 is not a hexadecimal digit"},
      {"\"00:\"", "character 3 is not a hexadecimal digit"},
      {"\"@0\"", "character 1 is not a hexadecimal digit"},
      {"\"0`\"", "character 2 is not a hexadecimal digit"},
      {"\"0g\"", "character 2 is not a hexadecimal digit"},
      {"\"0G\"", "character 2 is not a hexadecimal digit"},
      {"\"000\"", "has an odd number of hexadecimal digits"},
      {"0", "is a number, must be a string of hexadecimal digits"},
  };
  for (const Reading& row : rows) {
    EXPECT_EQ(reading(row.json, read), row.result) << row.json;
  }
}

TEST(JsonNode, Texts_HaveALimitAndNoNUL) {
  const auto read = [](const JsonNode& node) { return node.text(3); };
  EXPECT_EQ(reading("\"abc\"", read), "abc");
  EXPECT_EQ(reading("\"abcd\"", read), "has 4 bytes, at most 3 are allowed");
  EXPECT_EQ(reading("\"a\\u0000c\"", read), "holds a NUL, which no text can");
  EXPECT_EQ(reading("1", read), "is a number, must be a string");
}

TEST(JsonNode, Items_HaveALimit) {
  const auto read = [](const JsonNode& node) { return fmt::format("{}", node.items(2).size()); };
  EXPECT_EQ(reading("[1, 2]", read), "2");
  EXPECT_EQ(reading("[1, 2, 3]", read), "has 3 items, at most 2 are allowed");
  EXPECT_EQ(reading("{}", read), "is an object, must be an array");
}

// The advice about the only key of an object.
std::string advice(const std::string& key, const std::vector<std::string_view>& allowed) {
  const std::string refusal = reading(fmt::format("{{\"{}\": 1}}", key), [&](const JsonNode& node) {
    node.allowKeys(allowed);
    return "; none";
  });
  return refusal.substr(refusal.find("; ") + 2);
}

TEST(JsonNode, UnknownKey_IsTakenForOneThatDiffersInUpToAThirdOfItsLetters) {
  const struct {
    std::string key;
    std::vector<std::string_view> allowed;
    std::string advice;
  } rows[] = {
      {"ab", {"ab"}, "none"},
      {"ab", {}, "none is allowed here"},
      {"abcdxy", {"abcdef"}, "did you mean \"abcdef\"?"}, // two others
      {"xycdef", {"abcdef"}, "did you mean \"abcdef\"?"},
      {"abcdefxy", {"abcdef"}, "did you mean \"abcdef\"?"}, // two too many
      {"xyabcdef", {"abcdef"}, "did you mean \"abcdef\"?"},
      {"abef", {"abcdef"}, "did you mean \"abcdef\"?"}, // two missing
      {"cdef", {"abcdef"}, "did you mean \"abcdef\"?"},
      {"abcxyz", {"abcdef"}, "allowed: abcdef"},
      {"xyzabcdef", {"abcdef"}, "allowed: abcdef"},
      {"def", {"abcdef"}, "allowed: abcdef"},
      {"b", {"a"}, "did you mean \"a\"?"}, // one letter may always differ
      {"xxab", {"ab"}, "allowed: ab"},
      {"colour", {"size", "color", "weight"}, "did you mean \"color\"?"},
      {"colour", {"size", "weight"}, "allowed: size, weight"},
      {"ac", {"aa", "ab"}, "did you mean \"aa\"?"},
      {std::string(64, 'x'), {"x"}, "allowed: x"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(advice(row.key, row.allowed), row.advice) << row.key;
  }
}

TEST(JsonNode, UnknownKeyOfMoreThan64Bytes_IsNotCompared) {
  const std::string known(64, 'x');
  const std::string unlike = known.substr(1) + "y";
  EXPECT_EQ(advice(unlike, {known}), fmt::format("did you mean \"{}\"?", known));
  EXPECT_EQ(advice(unlike + "y", {known}), "allowed: " + known);
}

std::string propertyRefusal(const std::string& property) {
  return reading(property, [](const JsonNode& node) {
    node.propertyValue();
    return "(accepted)";
  });
}

TEST(JsonNode, PropertyTexts_HaveAtMost64KiB) {
  const std::string text(65536, 'x');
  EXPECT_EQ(propertyRefusal("\"" + text + "\""), "(accepted)");
  EXPECT_EQ(propertyRefusal("\"" + text + "x\""), "has 65537 bytes, at most 65536 are allowed");
}

TEST(JsonNode, PropertyData_HasAtMost1MiB) {
  const std::string digits(std::size_t{2} << 20, '0');
  EXPECT_EQ(propertyRefusal("{\"$data\": \"" + digits + "\"}"), "(accepted)");
  EXPECT_EQ(propertyRefusal("{\"$data\": \"" + digits + "00\"}"),
            "test: /0/$data: has 1048577 bytes, at most 1048576 are allowed");
}

TEST(JsonNode, PropertyKeys_HoldNoNUL) {
  EXPECT_EQ(propertyRefusal("{\"a\\u0000\": 1}"), "a key holds a NUL, which no text can");
}

} // namespace
