// What is wrong with a binary property list, told with the offset: each row the whole line.
#include <formats/binary_property_list.h>
#include <support/binary_list.h>

#include <gtest/gtest.h>

namespace {

using namespace vel::formats;
using namespace std::string_literals;
using vel::tests::bigEndianText;
using vel::tests::BinaryList;

std::string refusal(const std::string& text, std::size_t base) {
  try {
    readBinaryPropertyList(std::as_bytes(std::span(text)), base, 1U << 20);
  } catch (const PropertyListError& error) {
    return error.what();
  }
  return "(accepted)";
}

struct BadList {
  const char* name;
  std::string bytes;
  const char* message;
  std::size_t base = 0;
};
void PrintTo(const BadList& row, std::ostream* out) {
  *out << row.name;
}

// One malformed object, at offset 8, which is the last one.
BadList object(const char* name, const std::string& bytes, const char* message) {
  return {name, BinaryList{.objects = {bytes}}.bytes(), message};
}

class BadBinaryList : public testing::TestWithParam<BadList> {};

TEST_P(BadBinaryList, IsRefused) {
  EXPECT_EQ(refusal(GetParam().bytes, GetParam().base), GetParam().message);
}

const std::uint64_t huge = ~std::uint64_t{0};
const std::string trueObject = "\x09";

INSTANTIATE_TEST_SUITE_P(
    Frame, BadBinaryList,
    testing::Values(
        BadList{"Empty", "", "offset 0: not a binary property list"},
        BadList{"OtherMagic", "bplisp00" + std::string(40, '\0'), "offset 0: not a binary property list"},
        BadList{"OtherVersion", "bplist15" + std::string(40, '\0'),
                "offset 6: bytes 31 35 as the version of the binary format, where only 30 30 (\"00\") is read"},
        BadList{"TrailerCutShort", "bplist00" + std::string(31, '\0'),
                "offset 39: ends before a binary property list has its trailer of 32 bytes"},
        BadList{"OffsetsOfNoBytes", BinaryList{.objects = {trueObject}, .offsetWidth = 0}.bytes(),
                "offset 15: offsets of 0 bytes, where 1 to 8 are possible"},
        BadList{"OffsetsOfNineBytes", BinaryList{.objects = {trueObject}, .offsetWidth = 9}.bytes(),
                "offset 24: offsets of 9 bytes, where 1 to 8 are possible"},
        BadList{"ReferencesOfNoBytes", BinaryList{.objects = {trueObject}, .referenceWidth = 0}.bytes(),
                "offset 17: references to objects of 0 bytes, where 1 to 8 are possible"},
        BadList{"ReferencesOfNineBytes", BinaryList{.objects = {trueObject}, .referenceWidth = 9}.bytes(),
                "offset 17: references to objects of 9 bytes, where 1 to 8 are possible"},
        BadList{"TableInTheTrailer", BinaryList{.objects = {trueObject}, .tableOffset = 11}.bytes(),
                "offset 34: offset table at offset 11, where head and trailer leave 8 to 10"},
        BadList{"TableInTheHead", BinaryList{.objects = {trueObject}, .tableOffset = 7}.bytes(),
                "offset 34: offset table at offset 7, where head and trailer leave 8 to 10"},
        BadList{"TableOffsetThatOverflows", BinaryList{.objects = {trueObject}, .tableOffset = huge}.bytes(),
                "offset 234: offset table at offset 18446744073709551815, where head and trailer leave 208 to 210",
                200},
        BadList{"MoreObjectsThanTheTableHolds", BinaryList{.objects = {trueObject}, .count = 2}.bytes(),
                "offset 18: 2 objects, where the offset table has room for 1"},
        BadList{"ObjectCountThatOverflows",
                BinaryList{.objects = {trueObject}, .offsetWidth = 8, .count = 0x2000000000000001}.bytes(),
                "offset 25: 2305843009213693953 objects, where the offset table has room for 1"},
        BadList{"NoObjects", BinaryList{}.bytes(), "offset 24: reference to object 0 of 0"},
        BadList{"TopObjectThatIsNone", BinaryList{.objects = {trueObject}, .top = 1}.bytes(),
                "offset 26: reference to object 1 of 1"},
        BadList{"ObjectInTheHead", BinaryList{.objects = {trueObject}, .offsets = {7}}.bytes(),
                "offset 9: object 0 at offset 7, where the objects lie from 8 to 9"},
        BadList{"ObjectInTheTable", BinaryList{.objects = {trueObject}, .offsets = {9}}.bytes(),
                "offset 9: object 0 at offset 9, where the objects lie from 8 to 9"},
        BadList{"ObjectOffsetThatOverflows",
                BinaryList{.objects = {trueObject}, .offsetWidth = 8, .offsets = {huge}}.bytes(),
                "offset 9: object 0 at offset 18446744073709551615, where the objects lie from 8 to 9"},
        BadList{"BehindAHeader_OffsetsAreThoseOfTheFile", BinaryList{.objects = {trueObject}, .offsets = {9}}.bytes(),
                "offset 209: object 0 at offset 209, where the objects lie from 208 to 209", 200}),
    [](const auto& row) { return std::string(row.param.name); });

INSTANTIATE_TEST_SUITE_P(
    Objects, BadBinaryList,
    testing::Values(
        object("Fill", "\x0F", "offset 8: no value begins with byte 0x0f"),
        object("URL", "\x0C", "offset 8: no value begins with byte 0x0c"),
        object("UnknownType", "\x70", "offset 8: no value begins with byte 0x70"),
        object("OrderedSet", "\xB0", "offset 8: no value begins with byte 0xb0"),
        object("IntegerOf32Bytes", "\x15" + std::string(32, '\0'), "offset 8: no value begins with byte 0x15"),
        object("IntegerCutShort", "\x13" + std::string(7, '\0'),
               "offset 8: value of 8 bytes runs past the objects, which end at 16"),
        object("RealOf2Bytes", "\x21\x00\x00"s, "offset 8: no value begins with byte 0x21"),
        object("RealCutShort", "\x23" + std::string(7, '\0'),
               "offset 8: value of 8 bytes runs past the objects, which end at 16"),
        object("DateOf4Bytes", "\x32\x00\x00\x00\x00"s, "offset 8: no value begins with byte 0x32"),
        object("UIDOf9Bytes", "\x88" + std::string(9, '\0'), "offset 8: no value begins with byte 0x88"),
        object("UIDCutShort", "\x81\x00"s, "offset 8: value of 2 bytes runs past the objects, which end at 10"),
        object("DataCutShort", "\x42\x00"s, "offset 8: data of length 2 runs past the objects, which end at 10"),
        object("LengthMissing", "\x5F", "offset 9: the length of text is missing"),
        object("LengthThatIsNoInteger", "\x5F\x51x", "offset 9: the length of text is missing"),
        object("LengthOf16Bytes", "\x5F\x14" + std::string(16, '\0'), "offset 9: the length of text is missing"),
        object("LengthCutShort", "\x4F\x11\x00"s, "offset 9: value of 2 bytes runs past the objects, which end at 11"),
        object("LengthThatOverflows_Text", "\x5F\x13" + bigEndianText(huge, 8),
               "offset 8: text of length 18446744073709551615 runs past the objects, which end at 18"),
        object("LengthThatOverflows_UTF16", "\x6F\x13" + bigEndianText(0x8000000000000001, 8) + "ab",
               "offset 8: text of length 9223372036854775809 runs past the objects, which end at 20"),
        object("LengthThatOverflows_Array", "\xAF\x13" + bigEndianText(huge, 8),
               "offset 8: array of length 18446744073709551615 runs past the objects, which end at 18"),
        object("LengthThatOverflows_Dictionary", "\xDF\x13" + bigEndianText(0x8000000000000000, 8),
               "offset 8: dictionary of length 9223372036854775808 runs past the objects, which end at 18"),
        object("UTF16OfAnOddNumberOfBytes", "\x62\x00\x41\x00"s,
               "offset 8: text of length 2 runs past the objects, which end at 12"),
        object("ASCIIWithAHighByte", "\x52\x41\xE9", "offset 10: byte 0xe9 in ASCII text"),
        object("FirstHalfAtTheEnd", "\x62\x00\x41\xD8\x3D"s, "offset 11: surrogate 0xd83d without its other half"),
        object("FirstHalfTwice", "\x62\xD8\x3D\xD8\x3D", "offset 9: surrogate 0xd83d without its other half"),
        object("FirstHalfBeforeAnotherCharacter", "\x62\xD8\x3D\xE0\x00"s,
               "offset 9: surrogate 0xd83d without its other half"),
        object("FirstHalfBeforeTheLastOfThem", "\x62\xD8\x3D\xDB\xFF",
               "offset 9: surrogate 0xd83d without its other half"),
        object("SecondHalfFirst_TheLeastOfThem", "\x62\xDC\x00\xDC\x00"s,
               "offset 9: surrogate 0xdc00 without its other half"),
        object("SecondHalfFirst_TheMostOfThem", "\x62\xDF\xFF\xDC\x00"s,
               "offset 9: surrogate 0xdfff without its other half"),
        object("SecondHalfAlone", "\x62\xDE\x00\xDE\x00"s, "offset 9: surrogate 0xde00 without its other half"),
        object("SetCutShort", "\xC1", "offset 8: set of length 1 runs past the objects, which end at 9"),
        object("DictionaryWithoutItsValue", "\xD1\x00"s,
               "offset 8: dictionary of length 1 runs past the objects, which end at 10"),
        object("ReferenceToNoObject", "\xA1\x01", "offset 9: reference to object 1 of 1"),
        BadList{"KeyThatIsNoText", BinaryList{.objects = {"\xD1\x01\x01", "\x10\x05"}}.bytes(),
                "offset 9: a key that is not text (integer)"},
        BadList{"KeyTwice", BinaryList{.objects = {"\xD2\x01\x02\x03\x03", "\x51k", "\x61\x00k"s, "\x09"}}.bytes(),
                "offset 8: the key \"k\" is there twice in a dictionary"}),
    [](const auto& row) { return std::string(row.param.name); });

} // namespace
