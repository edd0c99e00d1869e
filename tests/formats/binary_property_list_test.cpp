// The reader of binary property lists, on hand-made lists: each kind of value, and each kind of error.
#include <formats/binary_property_list.h>
#include <support/binary_list.h>

#include <gtest/gtest.h>

#include <limits>
#include <string_view>

namespace {

using namespace vel::formats;
using namespace std::string_literals;
using vel::tests::bigEndianText;
using vel::tests::BinaryList;

constexpr std::size_t plenty = std::size_t{1} << 20;

Value read(const std::string& text, std::size_t base = 0, std::size_t memory = plenty) {
  return readBinaryPropertyList(std::as_bytes(std::span(text)), base, memory);
}

std::string refusal(const std::string& text, std::size_t base = 0, std::size_t memory = plenty) {
  try {
    read(text, base, memory);
  } catch (const PropertyListError& error) {
    return error.what();
  }
  return "(accepted)";
}

Value tagged(const char* tag, Value value) {
  return {Dictionary{{tag, std::move(value)}}};
}
Value text(const char* string) {
  return {std::string(string)};
}
Value number(std::int64_t value) {
  return {value};
}

struct GoodValue {
  const char* name;
  std::string object;
  Value value;
};
void PrintTo(const GoodValue& row, std::ostream* out) {
  *out << row.name;
}

class BinaryValue : public testing::TestWithParam<GoodValue> {};

TEST_P(BinaryValue, IsRead) {
  EXPECT_EQ(read(BinaryList{.objects = {GetParam().object}}.bytes()), GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(
    All, BinaryValue,
    testing::Values(
        GoodValue{"Null", "\x00"s, tagged("$null", {true})}, GoodValue{"False", "\x08", {false}},
        GoodValue{"True", "\x09", {true}}, GoodValue{"OneByte_HasNoSign", "\x10\xFF", number(255)},
        GoodValue{"TwoBytes_HaveNoSign", "\x11\xFF\xFE", number(65534)},
        GoodValue{"FourBytes_HaveNoSign", "\x12\xFF\xFF\xFF\xFF", number(4294967295)},
        GoodValue{"EightBytes_HaveASign", "\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF", number(-1)},
        GoodValue{"EightBytes_Least", "\x13\x80\x00\x00\x00\x00\x00\x00\x00"s,
                  number(std::numeric_limits<std::int64_t>::min())},
        GoodValue{"SixteenBytes_ThatFitEight", "\x14" + std::string(16, '\xFF'), number(-1)},
        GoodValue{"SixteenBytes_MostOfEight", "\x14" + bigEndianText(0, 8) + bigEndianText((1ULL << 63) - 1, 8),
                  number(std::numeric_limits<std::int64_t>::max())},
        GoodValue{"SixteenBytes_LeastOfEight", "\x14" + std::string(8, '\xFF') + bigEndianText(1ULL << 63, 8),
                  number(std::numeric_limits<std::int64_t>::min())},
        GoodValue{"SixteenBytes_BelowTheLeastOfEight",
                  "\x14" + std::string(8, '\xFF') + bigEndianText((1ULL << 63) - 1, 8),
                  tagged("$integer", text("-9223372036854775809"))},
        GoodValue{"SixteenBytes_TwoToThe63", "\x14" + bigEndianText(0, 8) + bigEndianText(1ULL << 63, 8),
                  tagged("$integer", text("9223372036854775808"))},
        GoodValue{"SixteenBytes_TwoToThe64Less1", "\x14" + bigEndianText(0, 8) + std::string(8, '\xFF'),
                  tagged("$integer", text("18446744073709551615"))},
        GoodValue{"SixteenBytes_Least", "\x14\x80" + std::string(15, '\0'),
                  tagged("$integer", text("-170141183460469231731687303715884105728"))},
        GoodValue{"Float", "\x22\xBF\x00\x00\x00"s, {-0.5}},
        GoodValue{"Double", "\x23\x3F\xB9\x99\x99\x99\x99\x99\x9A", {0.1}},
        GoodValue{"Date_Epoch", "\x33" + std::string(8, '\0'), tagged("$date", text("2001-01-01T00:00:00Z"))},
        GoodValue{"Date_LeapDay", "\x33\x41\xC5\xC8\x54\xA0\x00\x00\x00"s,
                  tagged("$date", text("2024-02-29T12:00:00Z"))},
        GoodValue{"Date_BeforeTheEpoch_WithAFraction", "\x33\xBF\xD0\x00\x00\x00\x00\x00\x00"s,
                  tagged("$date", text("2000-12-31T23:59:59.750000Z"))},
        GoodValue{"Date_BeyondTheCalendar", "\x33\x7F\xEF\xFF\xFF\xFF\xFF\xFF\xFF",
                  tagged("$date", text("1.7976931348623157e+308 seconds from 2001-01-01T00:00:00Z"))},
        GoodValue{"Date_ThatIsNoNumber", "\x33\x7F\xF8\x00\x00\x00\x00\x00\x00"s,
                  tagged("$date", text("nan seconds from 2001-01-01T00:00:00Z"))},
        GoodValue{"Data_Empty", "\x40", {Bytes()}},
        GoodValue{"Data", "\x42\x00\xFF"s, {Bytes{std::byte{0}, std::byte{0xFF}}}},
        GoodValue{"Data_WithALengthOfItsOwn", "\x4F\x10\x01\x07", {Bytes{std::byte{7}}}},
        GoodValue{"Text_Empty", "\x50", text("")}, GoodValue{"Text_WithNUL", "\x53"s + "a\0b"s, {"a\0b"s}},
        GoodValue{"Text_Of15_HasALengthOfItsOwn", "\x5F\x10\x0F" + std::string(15, 'x'), {std::string(15, 'x')}},
        GoodValue{"Text_LengthOfEightBytes", "\x5F\x13" + bigEndianText(2, 8) + "ab", text("ab")},
        GoodValue{"UTF16_OneToThreeBytes", "\x63\x00\x41\x00\xE9\x20\xAC"s, text("A\u00E9\u20AC")},
        GoodValue{"UTF16_Pair", "\x62\xD8\x3D\xDE\x00"s, text("\U0001F600")},
        GoodValue{"UTF16_EndsOfOneToThreeBytes", "\x66\x00\x7F\x00\x80\x07\xFF\x08\x00\xFF\xFF\xFF\xFD"s,
                  text("\u007F\u0080\u07FF\u0800\uFFFF\uFFFD")},
        GoodValue{"UTF16_AroundTheHalves", "\x62\xD7\xFF\xE0\x00"s, text("\uD7FF\uE000")},
        GoodValue{"UTF16_FirstCodePointOfAPair", "\x62\xD8\x00\xDC\x00"s, text("\U00010000")},
        GoodValue{"UTF16_LastCodePoint", "\x62\xDB\xFF\xDF\xFF", text("\U0010FFFF")},
        GoodValue{"UID", "\x81\x01\x02", tagged("$uid", number(258))},
        GoodValue{"UID_OfEightBytes", "\x87" + std::string(8, '\xFF'),
                  tagged("$uid", tagged("$integer", text("18446744073709551615")))},
        GoodValue{"Array_Empty", "\xA0", {Array()}}, GoodValue{"Set_Empty", "\xC0", tagged("$set", {Array()})},
        GoodValue{"Dictionary_Empty", "\xD0", {Dictionary()}}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(BinaryPropertyList, ContainersReferToObjects_InAnyWidth) {
  for (const std::uint8_t width : {1, 2, 3, 8}) {
    const auto reference = [&](std::uint64_t object) { return bigEndianText(object, width); };
    const BinaryList list = {.objects = {"\xD2" + reference(1) + reference(2) + reference(3) + reference(4),
                                         "\x51"
                                         "b",
                                         "\x51"
                                         "a",
                                         "\xA3" + reference(5) + reference(5) + reference(2), "\xC1" + reference(5),
                                         "\x10\x07"},
                             .offsetWidth = width,
                             .referenceWidth = width};
    EXPECT_EQ(read(list.bytes()), (Value{Dictionary{{"b", {Array{number(7), number(7), text("a")}}},
                                                    {"a", tagged("$set", {Array{number(7)}})}}}))
        << static_cast<int>(width);
  }
}

TEST(BinaryPropertyList, TopObjectNeedNotBeTheFirst) {
  EXPECT_EQ(read(BinaryList{.objects = {"\x08", "\x09"}, .top = 1}.bytes()), (Value{true}));
}

TEST(BinaryPropertyList, ObjectsMayOverlap) {
  // The second object is the inside of the first.
  EXPECT_EQ(read(BinaryList{.objects = {"\xA1\x01", "\x52\x10\x05"}, .offsets = {8, 11}}.bytes()),
            (Value{Array{number(5)}}));
}

// Nested arrays: each holds the next, the last a truth value.
std::string nested(int levels, const std::string& marker = "\xA1") {
  BinaryList list;
  for (int i = 0; i < levels; ++i) {
    list.objects.push_back(marker + static_cast<char>(i + 1));
  }
  list.objects.push_back("\x09");
  return list.bytes();
}

TEST(BinaryPropertyList, DepthEndsWhereTheTreesLimitIs) {
  EXPECT_EQ(refusal(nested(64)), "(accepted)");
  EXPECT_EQ(refusal(nested(65)), "offset 136: nested more than 64 levels deep");
  EXPECT_EQ(refusal(nested(32, "\xC1")), "(accepted)");
  EXPECT_EQ(refusal(nested(33, "\xC1")), "offset 72: nested more than 64 levels deep");
}

TEST(BinaryPropertyList, CyclesAreNamedAsSuch) {
  EXPECT_EQ(refusal(BinaryList{.objects = {std::string("\xA1\x00", 2)}}.bytes()),
            "offset 8: this object contains itself");
  EXPECT_EQ(refusal(BinaryList{.objects = {"\xA1\x01", std::string("\xD1\x02\x00", 3), "\x51k"}}.bytes()),
            "offset 8: this object contains itself");
  // Two numbers for one object.
  EXPECT_EQ(refusal(BinaryList{.objects = {"\xA1\x01", ""}, .offsets = {8, 8}}.bytes()),
            "offset 8: this object contains itself");
}

TEST(BinaryPropertyList, SharedArraysThatDoubleEachLevel_EndAtTheMemoryLimit) {
  BinaryList list;
  for (char i = 0; i < 40; ++i) {
    list.objects.push_back({'\xA2', static_cast<char>(i + 1), static_cast<char>(i + 1)});
  }
  list.objects.push_back("\x09");
  EXPECT_EQ(refusal(list.bytes()), "offset 125: the values take more than 1048576 bytes of memory, as there are too "
                                   "many or objects are shared too often");
}

TEST(BinaryPropertyList, SharedTextAndData_CountEachTime) {
  for (const char* marker : {"\x5F", "\x4F"}) {
    BinaryList list = {.objects = {"\xAF\x10\x64" + std::string(100, '\1'),
                                   marker + ("\x11" + bigEndianText(1000, 2)) + std::string(1000, 'x')},
                       .offsetWidth = 2};
    EXPECT_EQ(refusal(list.bytes()), "(accepted)");
    EXPECT_EQ(
        refusal(list.bytes(), 0, 100'000),
        "offset 111: the values take more than 100000 bytes of memory, as there are too many or objects are shared "
        "too often");
  }
}

TEST(BinaryPropertyList, MemoryLimit_GrowsWithTheFileBetweenItsBounds) {
  EXPECT_EQ(expansionLimit(0), 16U << 20);
  EXPECT_EQ(expansionLimit(1U << 19), 64U << 20);
  EXPECT_EQ(expansionLimit(std::numeric_limits<std::size_t>::max()), 80U << 20);
}

TEST(BinaryPropertyList, EveryPartOfAList_IsRefusedOrRead) {
  const std::string whole =
      BinaryList{.objects = {"\xD1\x01\x02", "\x51k", "\xA2\x03\x04", "\x10\x07", "\x61\x20\xAC"}}.bytes();
  for (std::size_t size = 0; size < whole.size(); ++size) {
    EXPECT_NE(refusal(whole.substr(0, size)), "(accepted)") << size;
  }
  EXPECT_EQ(refusal(whole), "(accepted)");
}

} // namespace
