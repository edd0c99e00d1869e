// Property lists as trees; the binary ones are made by the platform's own writer.
#include <formats/property_list.h>
#include <host/cf_values.h>

#include <gtest/gtest.h>

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

TEST(XMLPropertyList, IsRead) {
  EXPECT_EQ(readPropertyListXML(
                "<plist version=\"1.0\"><dict><key>k</key><array><integer>-3</integer></array></dict></plist>"),
            (Value{Dictionary{{"k", {Array{{std::int64_t{-3}}}}}}}));
}

TEST(XMLPropertyList, OtherTextIsRefused) {
  EXPECT_THROW(readPropertyListXML("no property list"), PropertyListError);
  EXPECT_THROW(readPropertyListXML(""), PropertyListError);
}

} // namespace
