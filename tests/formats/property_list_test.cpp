// Property lists as trees; the binary ones are made by the platform's own writer.
#include <formats/property_list.h>
#include <formats/xml_limits.h>
#include <host/cf_values.h>

#include <gtest/gtest.h>

#include <limits>

namespace {

using namespace vel::formats;
using vel::control::Ref;

Bytes serialise(const Value& value) {
  const auto data = Ref<CFDataRef>::adopt(CFPropertyListCreateData(
      kCFAllocatorDefault, vel::host::makeObject(value).get(), kCFPropertyListBinaryFormat_v1_0, 0, nullptr));
  const auto* bytes = reinterpret_cast<const std::byte*>(CFDataGetBytePtr(data.get()));
  return {bytes, bytes + CFDataGetLength(data.get())};
}

TEST(BinaryPropertyList, EveryTypeComesBackInItsOrder) {
  const Value value = {Dictionary{{"z", {std::string("text")}},
                                  {"a", {std::int64_t{-1}}},
                                  {"big", {std::numeric_limits<std::int64_t>::max()}},
                                  {"least", {std::numeric_limits<std::int64_t>::min()}},
                                  {"real", {-0.25}},
                                  {"yes", {true}},
                                  {"no", {false}},
                                  {"data", {Bytes{std::byte{0}, std::byte{0xFF}}}},
                                  {"array", {Array{{std::int64_t{1}}, {Dictionary()}, {Array()}}}}}};
  EXPECT_EQ(readPropertyList(serialise(value)), value);
}

std::string listRefusal(std::string_view text) {
  try {
    readPropertyList(std::as_bytes(std::span(text)));
  } catch (const PropertyListError& error) {
    return error.what();
  }
  return "(accepted)";
}

TEST(BinaryPropertyList, OtherBytesAreRefused) {
  EXPECT_EQ(listRefusal(""), "offset 0: not a binary property list");
  EXPECT_EQ(listRefusal("bplist0"), "offset 0: not a binary property list");
  EXPECT_EQ(listRefusal("<plist/>"), "offset 0: not a binary property list");
  EXPECT_EQ(listRefusal("bplist00"), "offset 8: ends before a binary property list has its trailer of 32 bytes");
}

Value readXML(const std::string& value) {
  return readPropertyListXML("<plist version=\"1.0\">" + value + "</plist>");
}

TEST(XMLPropertyList, EveryTypeIsRead) {
  const std::pair<const char*, Value> rows[] = {
      {"<string>caf\u00E9 &amp; more</string>", {std::string("caf\u00E9 & more")}},
      {"<string></string>", {std::string()}},
      {"<integer>-3</integer>", {std::int64_t{-3}}},
      {"<integer>9223372036854775807</integer>", {std::numeric_limits<std::int64_t>::max()}},
      {"<integer>-9223372036854775808</integer>", {std::numeric_limits<std::int64_t>::min()}},
      {"<real>-2.5</real>", {-2.5}},
      {"<true/>", {true}},
      {"<false/>", {false}},
      {"<data>AP8H</data>", {Bytes{std::byte{0}, std::byte{0xFF}, std::byte{7}}}},
      {"<data></data>", {Bytes()}},
      {"<array></array>", {Array()}},
      {"<array><integer>1</integer><true/></array>", {Array{{std::int64_t{1}}, {true}}}},
      {"<dict></dict>", {Dictionary()}},
      {"<dict><key>z</key><integer>1</integer><key></key><array><string>t</string></array></dict>",
       {Dictionary{{"z", {std::int64_t{1}}}, {"", {Array{{std::string("t")}}}}}}},
  };
  for (const auto& [text, value] : rows) {
    EXPECT_EQ(readXML(text), value) << text;
  }
}

std::string refusalOfXML(const std::string& value) {
  try {
    readXML(value);
  } catch (const PropertyListError& error) {
    return error.what();
  }
  return "(accepted)";
}

TEST(XMLPropertyList, DatesAreNotRead) {
  EXPECT_EQ(refusalOfXML("<array><date>2024-02-29T12:00:00Z</date></array>"),
            "property list holds a value of a type that is not read here");
}

TEST(XMLPropertyList, DepthEndsWhereTheTreesLimitIs) {
  for (const auto& [open, close] : {std::pair("<array>", "</array>"), {"<dict><key>k</key>", "</dict>"}}) {
    const auto nested = [start = open, end = close](int levels) {
      std::string text = "<true/>";
      for (int i = 0; i < levels; ++i) {
        text = start + text + end;
      }
      return text;
    };
    EXPECT_EQ(refusalOfXML(nested(64)), "(accepted)");
    EXPECT_EQ(refusalOfXML(nested(65)), "property list nested too deep");
  }
}

TEST(XMLPropertyList, TextBeyondTheLimit_IsTooLong) {
  std::string text = "<plist version=\"1.0\"><true/></plist>";
  text.resize(longestXML, ' ');
  EXPECT_EQ(readPropertyListXML(text), Value{true});
  try {
    readPropertyListXML(text + ' ');
    ADD_FAILURE() << "accepted";
  } catch (const PropertyListError& error) {
    EXPECT_STREQ(error.what(), "property list too long: more than 16777216 bytes of XML");
  }
}

std::string checked(std::string_view text) {
  try {
    checkXMLLimits(text);
  } catch (const PropertyListError& error) {
    return error.what();
  }
  return "(accepted)";
}

TEST(XMLLimits, ElementsAreCounted) {
  std::string text;
  for (std::size_t i = 0; i < mostXMLElements; ++i) {
    text += "<a/>";
  }
  EXPECT_EQ(checked(text), "(accepted)");
  EXPECT_EQ(checked(text + "<!-- <a/> --><?a?><![CDATA[<a/>]]></a>"), "(accepted)");
  EXPECT_EQ(checked(text + "<a>"), "property list with more than 1048576 elements");
}

TEST(XMLLimits, OnlyWhatIsOpenNests) {
  std::string text;
  for (int i = 0; i < 1000; ++i) {
    text += "<array></array><true/><!-- <array> -->";
  }
  EXPECT_EQ(checked(text), "(accepted)");
  std::string open;
  for (int i = 0; i < 66; ++i) {
    open += "<array>";
  }
  EXPECT_EQ(checked(open), "(accepted)");
  EXPECT_EQ(checked(open + "<array>"), "property list nested too deep");
}

TEST(XMLLimits, DeclarationsOfEntitiesAreRefused) {
  EXPECT_EQ(checked("<!DOCTYPE plist PUBLIC \"a\" \"b\"><plist/>"), "(accepted)");
  EXPECT_EQ(checked("<?xml?><!DOCTYPE plist [<!ENTITY a \"b\">]>"),
            "offset 7: declarations inside <!DOCTYPE are not read");
}

TEST(XMLLimits, TagsThatDoNotEnd_EndWithTheText) {
  for (const std::string_view text : {"<", "<!", "<!--", "<![CDATA[", "<?", "</", "<a", "<plist><a"}) {
    EXPECT_EQ(checked(text), "(accepted)") << text;
  }
}

TEST(XMLPropertyList, OtherTextIsRefused) {
  for (const char* const text : {"no property list", "", "<plist><dict><string>no key</string></dict></plist>"}) {
    try {
      readPropertyListXML(text);
      ADD_FAILURE() << text;
    } catch (const PropertyListError& error) {
      EXPECT_STREQ(error.what(), "malformed property list: not an XML property list") << text;
    }
  }
}

} // namespace
