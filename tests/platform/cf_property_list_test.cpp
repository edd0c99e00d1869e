// What a property list may hold. That the bytes mean what they should is asked of an outside reader, see
// cf_property_list_check.py.
#include "containers.h"
#include "no_leaks.h"
#include <control/ref.h>

#include <CoreFoundation/CoreFoundation.h>

#include <string_view>

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
  const auto data = write(CFSTR("text"));
  ASSERT_TRUE(data);
  const std::string_view bytes(reinterpret_cast<const char*>(CFDataGetBytePtr(data.get())),
                               static_cast<std::size_t>(CFDataGetLength(data.get())));
  EXPECT_EQ(bytes.substr(0, 13), "bplist00\x54text");
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
  CFArrayAppendValue(pointers.get(), CFSTR("text")); // an object, but nobody has said so
  const auto pairs = Dictionary::adopt(CFDictionaryCreateMutable(nullptr, 0, nullptr, nullptr));
  CFDictionarySetValue(pairs.get(), CFSTR("key"), CFSTR("text"));
  const Dictionary numberKey = under(Object::adopt(write(CFSTR("")).release()).get(), CFSTR("value"));
  const struct {
    const char* name;
    CFTypeRef object;
  } cases[] = {{"UUID", uuid.get()},
               {"allocator", kCFAllocatorSystemDefault},
               {"array of pointers", pointers.get()},
               {"dictionary of pointers", pairs.get()},
               {"key that is no string", numberKey.get()}};
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
