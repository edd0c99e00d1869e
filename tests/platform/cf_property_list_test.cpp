// What a property list may hold. That the bytes mean what they should is asked of an outside reader, see
// cf_property_list_check.py.
#include "containers.h"
#include "no_leaks.h"
#include <control/ref.h>

#include <CoreFoundation/CoreFoundation.h>

#include <string>
#include <utility>

using vel::control::Ref;

namespace {

using CFPropertyList = NoLeaks;
using Object = Ref<CFTypeRef>;

Ref<CFDataRef> write(CFTypeRef object, CFPropertyListFormat format = kCFPropertyListBinaryFormat_v1_0,
                     CFOptionFlags options = 0) {
  CFErrorRef error = nullptr;
  auto data = Ref<CFDataRef>::adopt(CFPropertyListCreateData(nullptr, object, format, options, &error));
  EXPECT_EQ(error, nullptr);
  return data;
}

std::string bytesOf(CFTypeRef object) {
  const auto data = write(object);
  return data ? std::string(reinterpret_cast<const char*>(CFDataGetBytePtr(data.get())),
                            static_cast<std::size_t>(CFDataGetLength(data.get())))
              : std::string();
}
struct Trailer { // its numbers are big-endian; none here is above 65,535
  int offsetWidth;
  int referenceWidth;
  int objects;
  std::size_t table; // of offsets, where it begins
};
Trailer trailerOf(const std::string& list) {
  const auto byte = [&](std::size_t at) { return static_cast<std::uint8_t>(list[list.size() - 32 + at]); };
  return {byte(6), byte(7), byte(14) << 8 | byte(15), static_cast<std::size_t>(byte(30) << 8 | byte(31))};
}
Trailer trailerOf(CFTypeRef object) {
  return trailerOf(bytesOf(object));
}
// How a list holds its only object.
std::string encoding(CFTypeRef object) {
  const std::string list = bytesOf(object);
  return list.empty() ? list : list.substr(8, trailerOf(list).table - 8);
}

Object makeText(const std::string& utf8) {
  return Object::adopt(CFStringCreateWithCString(nullptr, utf8.c_str(), kCFStringEncodingUTF8));
}
Object makeInteger(std::int64_t value) {
  return Object::adopt(CFNumberCreate(nullptr, kCFNumberSInt64Type, &value));
}
Object makeReal(double value) {
  return Object::adopt(CFNumberCreate(nullptr, kCFNumberDoubleType, &value));
}
Object makeData(std::size_t size) {
  const std::string bytes(size, 'd');
  return Object::adopt(
      CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes.data()), static_cast<CFIndex>(bytes.size())));
}

Array in(CFTypeRef object) {
  Array array = makeArray();
  CFArrayAppendValue(array.get(), object);
  return array;
}
Dictionary under(CFTypeRef key, CFTypeRef value) {
  Dictionary dictionary = makeDictionary();
  CFDictionarySetValue(dictionary.get(), CFSTR("first"), CFSTR("good"));
  CFDictionarySetValue(dictionary.get(), key, value);
  return dictionary;
}
// `levels` arrays around one another.
Array nested(int levels) {
  Array array = makeArray();
  for (int i = 1; i < levels; ++i) {
    array = in(array.get());
  }
  return array;
}

TEST_F(CFPropertyList, Result_IsInTheBinaryFormat) {
  using namespace std::string_literals;
  EXPECT_EQ(bytesOf(CFSTR("text")), "bplist00\x54text"
                                    "\x08"                  // where the object is
                                    "\0\0\0\0\0\0\1\1"      // widths of offsets and references
                                    "\0\0\0\0\0\0\0\1"      // objects
                                    "\0\0\0\0\0\0\0\0"      // the top one
                                    "\0\0\0\0\0\0\0\x0D"s); // where the table of offsets is
}

TEST_F(CFPropertyList, Integers_TakeTheFewestBytesThatHoldThem) {
  using namespace std::string_literals;
  const std::pair<std::int64_t, std::string> rows[] = {
      {0, "\x10\0"s},
      {0xFF, "\x10\xFF"s},
      {0x100, "\x11\1\0"s},
      {0xFFFF, "\x11\xFF\xFF"s},
      {0x10000, "\x12\0\1\0\0"s},
      {0xFFFFFFFF, "\x12\xFF\xFF\xFF\xFF"s},
      {0x100000000, "\x13\0\0\0\1\0\0\0\0"s},
      {INT64_MAX, "\x13\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s},
      {-1, "\x13\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF"s}, // only eight bytes hold a sign
      {INT64_MIN, "\x13\x80\0\0\0\0\0\0\0"s},
  };
  for (const auto& [value, bytes] : rows) {
    EXPECT_EQ(encoding(makeInteger(value).get()), bytes) << value;
  }
}

TEST_F(CFPropertyList, TextBeyondASCII_IsUTF16) {
  using namespace std::string_literals;
  const std::pair<const char*, std::string> rows[] = {
      {"\x7F", "\x51\x7F"s}, // the last of ASCII
      {"\u0080", "\x61\0\x80"s},
      {"\u07FF", "\x61\x07\xFF"s}, // the last of two bytes in UTF-8
      {"\u0800", "\x61\x08\0"s},
      {"\uFFFF", "\x61\xFF\xFF"s}, // the last of three
      {"\U00010000", "\x62\xD8\0\xDC\0"s},
      {"\U0010FFFF", "\x62\xDB\xFF\xDF\xFF"s},
      {"\x7F\u00E9", "\x62\0\x7F\0\xE9"s},
  };
  for (const auto& [utf8, bytes] : rows) {
    EXPECT_EQ(encoding(makeText(utf8).get()), bytes) << utf8;
  }
}

TEST_F(CFPropertyList, LengthsFrom15_FollowTheMarker) {
  EXPECT_EQ(encoding(makeData(14).get()), "\x4E" + std::string(14, 'd'));
  EXPECT_EQ(encoding(makeData(15).get()), "\x4F\x10\x0F" + std::string(15, 'd'));
  EXPECT_EQ(encoding(makeData(256).get()), std::string("\x4F\x11\x01\x00", 4) + std::string(256, 'd'));
}

TEST_F(CFPropertyList, OffsetsAndReferences_AreAsWideAsTheLargestNeeds) {
  EXPECT_EQ(trailerOf(makeData(244).get()).offsetWidth, 1); // the table of offsets begins at byte 255
  EXPECT_EQ(trailerOf(makeData(245).get()).offsetWidth, 2);
  const Array array = makeArray();
  for (int i = 0; i < 255; ++i) {
    CFArrayAppendValue(array.get(), makeInteger(i).get());
  }
  EXPECT_EQ(trailerOf(array.get()).referenceWidth, 1); // the array is 0, the last number 255
  CFArrayAppendValue(array.get(), makeInteger(255).get());
  EXPECT_EQ(trailerOf(array.get()).referenceWidth, 2);
}

TEST_F(CFPropertyList, EqualObjects_AreWrittenOnceIfTheyAreShortTextsOrIntegersOrBooleans) {
  const struct {
    const char* name;
    Object first, second;
    int objects; // with the array around them
  } rows[] = {
      {"text of 128 bytes", makeText(std::string(128, 'x')), makeText(std::string(128, 'x')), 2},
      {"text of 129 bytes", makeText(std::string(129, 'x')), makeText(std::string(129, 'x')), 3},
      {"integers", makeInteger(7), makeInteger(7), 2},
      {"true", Object::share(kCFBooleanTrue), Object::share(kCFBooleanTrue), 2},
      {"false", Object::share(kCFBooleanFalse), Object::share(kCFBooleanFalse), 2},
      {"true and false", Object::share(kCFBooleanTrue), Object::share(kCFBooleanFalse), 3},
      {"reals", makeReal(7), makeReal(7), 3},
      {"real and integer", makeReal(7), makeInteger(7), 3},
      {"data", makeData(1), makeData(1), 3},
  };
  for (const auto& row : rows) {
    const Array array = in(row.first.get());
    CFArrayAppendValue(array.get(), row.second.get());
    EXPECT_EQ(trailerOf(array.get()).objects, row.objects) << row.name;
  }
}

TEST_F(CFPropertyList, OtherFormatsAndOptions_AreRefused) {
  EXPECT_FALSE(write(CFSTR("text"), 100));
  EXPECT_FALSE(write(CFSTR("text"), 1));
  EXPECT_FALSE(write(CFSTR("text"), kCFPropertyListBinaryFormat_v1_0, 1));
  EXPECT_FALSE(write(nullptr));
}

TEST_F(CFPropertyList, WhatItCannotHold_IsRefusedAtAnyDepth) {
  const auto uuid = Ref<CFUUIDRef>::adopt(CFUUIDCreateFromUUIDBytes(nullptr, {}));
  const Array pointers = makeArray(nullptr);
  CFArrayAppendValue(pointers.get(), CFSTR("text")); // an object, but the callbacks do not say so
  const auto pairs = Dictionary::adopt(CFDictionaryCreateMutable(nullptr, 0, nullptr, nullptr));
  CFDictionarySetValue(pairs.get(), CFSTR("key"), CFSTR("text"));
  const auto pointerKeys =
      Dictionary::adopt(CFDictionaryCreateMutable(nullptr, 0, nullptr, &kCFTypeDictionaryValueCallBacks));
  CFDictionarySetValue(pointerKeys.get(), CFSTR("key"), CFSTR("text"));
  const auto pointerValues =
      Dictionary::adopt(CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, nullptr));
  CFDictionarySetValue(pointerValues.get(), CFSTR("key"), CFSTR("text"));
  const Dictionary numberKey = under(Object::adopt(write(CFSTR("")).release()).get(), CFSTR("value"));
  const struct {
    const char* name;
    CFTypeRef object;
  } cases[] = {{"UUID", uuid.get()},
               {"allocator", kCFAllocatorSystemDefault},
               {"array of pointers", pointers.get()},
               {"dictionary of pointers", pairs.get()},
               {"dictionary of objects under pointers", pointerKeys.get()},
               {"dictionary of pointers under objects", pointerValues.get()},
               {"key that is not a string", numberKey.get()}};
  for (const auto& row : cases) {
    EXPECT_FALSE(write(row.object)) << row.name;
    EXPECT_FALSE(write(in(row.object).get())) << row.name;
    EXPECT_FALSE(write(under(CFSTR("key"), row.object).get())) << row.name;
    EXPECT_FALSE(write(under(CFSTR("key"), in(under(CFSTR("key"), row.object).get()).get()).get())) << row.name;
  }
}

TEST_F(CFPropertyList, Nesting_HasALimit) {
  EXPECT_TRUE(write(nested(512).get()));
  EXPECT_FALSE(write(nested(513).get()));
  EXPECT_FALSE(write(nested(10000).get()));
}

// An array in itself is a mistake that would otherwise end in a full stack. Its reference to itself is not counted, so
// that it can go.
TEST_F(CFPropertyList, Cycle_IsRefused) {
  const CFArrayCallBacks uncounted = {CFRetain, nullptr, CFEqual};
  const Array array = makeArray(&uncounted);
  CFArrayAppendValue(array.get(), array.get());
  CFRelease(array.get());
  EXPECT_FALSE(write(array.get()));
}

} // namespace
