// Hostile documents: what is refused with which line, and that time and memory grow only linearly.
#include <formats/error.h>
#include <formats/json_document.h>
#include <formats/json_node.h>

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

using namespace vel::formats;

const std::string source = "test";

std::string refusal(std::string_view text) {
  try {
    parseJson(text, source);
  } catch (const Error& error) {
    return error.what();
  }
  return "(accepted)";
}

std::string repeated(std::string_view piece, std::size_t times) {
  std::string text;
  for (std::size_t i = 0; i < times; ++i) {
    text += piece;
  }
  return text;
}

// `count` pieces with a comma between each two.
std::string list(std::string_view piece, std::size_t count) {
  return std::string(piece) + repeated("," + std::string(piece), count - 1);
}

TEST(JsonDocument, KeepsEveryTypeAndTheOrderOfKeys) {
  const char* const text = R"({"z":[null,true,-1,18446744073709551615,0.5,"t"],"a":{"":{}},"b":[]})";
  EXPECT_EQ(parseJson(text, source).dump(), text);
}

struct Refused {
  const char* name;
  std::string text;
  std::string line;
};

void PrintTo(const Refused& refused, std::ostream* out) {
  *out << refused.name;
}

const std::string sixtyFour(64, 'x');

const Refused refused[] = {
    {"KeyTwice", R"({"a": 1, "b": 2, "a": 3})", "test: (whole document): the key \"a\" is there twice"},
    {"KeyTwice_Deeper", R"({"a": [0, {"b": {"c": 1, "c": 1}}]})", "test: /a/1/b: the key \"c\" is there twice"},
    {"KeyTwice_ThatNeedsEscaping", R"({"a/b~": {"c": 1, "c": 1}})", "test: /a~1b~0: the key \"c\" is there twice"},
    {"LongKeyTwice", fmt::format(R"({{"{0}yz": 1, "{0}yz": 1}})", sixtyFour),
     fmt::format("test: (whole document): the key \"{}…\" is there twice", sixtyFour)},
    {"LongKey_IsCutInThePointer", fmt::format(R"({{"{}y": {{"c": 1, "c": 1}}}})", sixtyFour),
     fmt::format("test: /{}…: the key \"c\" is there twice", sixtyFour)},
    {"LongKey_IsCutBeforeACharacter", fmt::format(R"({{"{}é": {{"c": 1, "c": 1}}}})", sixtyFour.substr(1)),
     fmt::format("test: /{}…: the key \"c\" is there twice", sixtyFour.substr(1))},
    {"NumberTooLarge", "1e400", "test: (whole document): is a number that is too large"},
    {"NumberTooLarge_InAList", "[[], [1, 1e400]]", "test: /1/1: is a number that is too large"},
    {"NumberTooLarge_InAnObject", R"({"a": 0, "b": -1e400})", "test: /b: is a number that is too large"},
    {"NumberTooLarge_HowManyDigitsSoever", "[" + std::string(100000, '9') + "]",
     "test: /0: is a number that is too large"},
    {"EndlessText", "\"" + std::string(100000, 'x'),
     fmt::format("test: line 1, column 100002: syntax error while parsing value - invalid string: missing closing "
                 "quote; last read: '\"{}…'",
                 sixtyFour.substr(1))},
    {"NoJson", "\n {]",
     "test: line 2, column 3: syntax error while parsing object key - unexpected ']'; expected "
     "string literal"},
    {"Nothing", "",
     "test: line 1, column 1: syntax error while parsing value - unexpected end of input; expected '[', "
     "'{', or a literal"},
    {"AnotherDocument", "{}\n[]",
     "test: line 2, column 1: syntax error while parsing value - unexpected '['; expected end of input"},
    {"Nul", std::string("{}\0", 3),
     "test: line 1, column 3: a NUL after the end of the document: remove it and all that follows"},
    {"Nul_AndAnotherDocument", std::string("[1,\n2] \0{}", 11),
     "test: line 2, column 4: a NUL after the end of the document: remove it and all that follows"},
    {"Nul_BeforeTheEnd", std::string("[1\0]", 5),
     "test: line 1, column 3: syntax error while parsing array - unexpected end of input; expected ']'"},
    {"Nul_First", std::string("\0{}", 3),
     "test: line 1, column 1: syntax error while parsing value - unexpected end of input; expected '[', '{', or a "
     "literal"},
    {"DeepLists", repeated("[", maximumNesting + 1),
     "test: " + repeated("/0", maximumNesting) + ": is nested deeper than 128 levels"},
    {"DeepObjects", repeated("{\"a\":", maximumNesting + 1),
     "test: " + repeated("/a", maximumNesting) + ": is nested deeper than 128 levels"},
    {"ManyNumbers", "[" + list("0", maximumValues) + "]", "test: /262143: is one value too many, 262144 are allowed"},
    {"ManyObjects", "[" + list("{\"a\":[]}", maximumValues / 2) + "]",
     "test: /131071/a: is one value too many, 262144 are allowed"},
};

class RefusedDocuments : public testing::TestWithParam<Refused> {};

TEST_P(RefusedDocuments, NamePlaceAndReason) {
  EXPECT_EQ(refusal(GetParam().text), GetParam().line);
}

INSTANTIATE_TEST_SUITE_P(JsonDocument, RefusedDocuments, testing::ValuesIn(refused),
                         [](const auto& info) { return info.param.name; });

TEST(JsonDocument, AsDeepAsAllowed) {
  EXPECT_EQ(refusal(repeated("[", maximumNesting) + repeated("]", maximumNesting)), "(accepted)");
}

// Minutes, were each key or item looked for in those before it.
TEST(JsonDocument, AsLargeAsAllowed) {
  std::string keys = "{\"0\":0";
  for (std::size_t i = 1; i < maximumValues - 1; ++i) {
    keys += fmt::format(",\"{}\":0", i);
  }
  EXPECT_EQ(parseJson(keys + "}", source).size(), maximumValues - 1);
  EXPECT_EQ(parseJson("[" + list("{\"a\":0}", (maximumValues - 1) / 2) + "]", source).size(), (maximumValues - 1) / 2);
}

TEST(JsonNode, UnknownKeyThatIsLong_IsCut) {
  const Json document = parseJson(fmt::format(R"([{{"{}": 1}}])", std::string(200000, 'x')), source);
  try {
    JsonNode(document, source).items(1).front().allowKeys({"a"});
    FAIL() << "accepted";
  } catch (const Error& error) {
    EXPECT_EQ(error.what(), fmt::format("test: /0: unknown key \"{}…\"; allowed: a", sixtyFour));
  }
}

TEST(JsonNode, NumberThatIsALongText_IsCut) {
  const Json document = parseJson(fmt::format(R"(["{}"])", std::string(200000, 'x')), source);
  try {
    JsonNode(document, source).items(1).front().unsignedNumber(1);
    FAIL() << "accepted";
  } catch (const Error& error) {
    EXPECT_EQ(error.what(), fmt::format("test: /0: \"{}…\" is not a number; a number in a string is written as "
                                        "\"0x2A\"",
                                        sixtyFour));
  }
}

// A long key above many items, each of them a node: no node may store the text of its place.
TEST(JsonNode, DoesNotGrowWithItsPlace) {
  static_assert(sizeof(JsonNode) <= 3 * sizeof(void*));
}

} // namespace
