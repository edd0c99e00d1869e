// Property trees as CF objects.
#include <control/cf.h>
#include <host/cf_values.h>

#include <gtest/gtest.h>

namespace {

using namespace vel::formats;
using namespace vel::host;
using vel::control::Ref;

TEST(CFValues, EachTypeHasItsObject) {
  const Dictionary members = {{"string", {std::string("\xC3\xA9")}},
                              {"integer", {std::int64_t{-2}}},
                              {"real", {1.5}},
                              {"boolean", {true}},
                              {"data", {Bytes{std::byte{7}}}},
                              {"array", {Array{{false}}}},
                              {"dictionary", {Dictionary{{"k", {std::string("v")}}}}}};
  const Ref<CFDictionaryRef> dictionary = makeDictionary(members);
  const auto get = [&](const char* key) {
    return CFDictionaryGetValue(dictionary.get(), CFStringGetConstantString(key));
  };

  EXPECT_EQ(vel::control::utf8(static_cast<CFStringRef>(get("string"))), "\xC3\xA9");
  std::int64_t integer = 0;
  EXPECT_EQ(CFNumberGetType(static_cast<CFNumberRef>(get("integer"))), kCFNumberSInt64Type);
  EXPECT_TRUE(CFNumberGetValue(static_cast<CFNumberRef>(get("integer")), kCFNumberSInt64Type, &integer));
  EXPECT_EQ(integer, -2);
  double real = 0;
  EXPECT_TRUE(CFNumberGetValue(static_cast<CFNumberRef>(get("real")), kCFNumberDoubleType, &real));
  EXPECT_EQ(real, 1.5);
  EXPECT_EQ(get("boolean"), kCFBooleanTrue);
  EXPECT_EQ(CFDataGetLength(static_cast<CFDataRef>(get("data"))), 1);
  EXPECT_EQ(*CFDataGetBytePtr(static_cast<CFDataRef>(get("data"))), 7);
  EXPECT_EQ(CFArrayGetValueAtIndex(static_cast<CFArrayRef>(get("array")), 0), kCFBooleanFalse);
  EXPECT_EQ(CFDictionaryGetCount(static_cast<CFDictionaryRef>(get("dictionary"))), 1);
  EXPECT_EQ(CFDictionaryGetCount(dictionary.get()), 7);
}

TEST(CFValues, NothingOutlivesTheDictionary) {
  const auto before = vel::control::liveObjects();
  makeDictionary({{"a", {Array{{std::string("b")}, {std::int64_t{1}}}}}});
  EXPECT_EQ(vel::control::liveObjects(), before);
}

} // namespace
