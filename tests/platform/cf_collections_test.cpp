// Data, arrays and dictionaries.
#include "containers.h"
#include "no_leaks.h"
#include <control/ref.h>

#include <CoreFoundation/CoreFoundation.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

using vel::control::Ref;
using vel::control::retainCount;

namespace {

using CFData = NoLeaks;
using CFArray = NoLeaks;
using CFDictionary = NoLeaks;
using String = Ref<CFStringRef>;

String makeString(const std::string& text) {
  return String::adopt(CFStringCreateWithCString(nullptr, text.c_str(), kCFStringEncodingUTF8));
}
Ref<CFNumberRef> makeNumber(std::int32_t value) {
  return Ref<CFNumberRef>::adopt(CFNumberCreate(nullptr, kCFNumberSInt32Type, &value));
}
Dictionary makeRawDictionary() {
  return Dictionary::adopt(CFDictionaryCreateMutable(nullptr, 0, nullptr, nullptr));
}

TEST_F(CFData, Bytes_AreCopied) {
  std::uint8_t bytes[] = {1, 0, 255};
  const auto data = Ref<CFDataRef>::adopt(CFDataCreate(nullptr, bytes, 3));
  bytes[0] = 9;
  ASSERT_EQ(CFDataGetLength(data.get()), 3);
  EXPECT_EQ(std::memcmp(CFDataGetBytePtr(data.get()), "\x01\x00\xFF", 3), 0);
  const auto same = Ref<CFDataRef>::adopt(CFDataCreate(nullptr, CFDataGetBytePtr(data.get()), 3));
  const auto shorter = Ref<CFDataRef>::adopt(CFDataCreate(nullptr, CFDataGetBytePtr(data.get()), 2));
  EXPECT_TRUE(CFEqual(data.get(), same.get()));
  EXPECT_EQ(CFHash(data.get()), CFHash(same.get()));
  EXPECT_FALSE(CFEqual(data.get(), shorter.get()));
}

TEST_F(CFData, LengthWithoutBytes_IsRefused) {
  EXPECT_EQ(CFDataCreate(nullptr, nullptr, 1), nullptr);
  const std::uint8_t byte = 0;
  EXPECT_EQ(CFDataCreate(nullptr, &byte, -1), nullptr);
  EXPECT_TRUE(Ref<CFDataRef>::adopt(CFDataCreate(nullptr, nullptr, 0)));
}

TEST_F(CFArray, Objects_AreRetainedForTheArraysLife) {
  const String value = makeString("value");
  {
    const Array array = makeArray();
    CFArrayAppendValue(array.get(), value.get());
    CFArrayAppendValue(array.get(), value.get());
    EXPECT_EQ(retainCount(value.get()), 3U);
    EXPECT_EQ(CFArrayGetCount(array.get()), 2);
    EXPECT_EQ(CFArrayGetValueAtIndex(array.get(), 1), value.get());
  }
  EXPECT_EQ(retainCount(value.get()), 1U);
}

TEST_F(CFArray, WithoutCallBacks_HoldsAnyPointer) {
  const int context = 0;
  const Array array = makeArray(nullptr);
  CFArrayAppendValue(array.get(), &context);
  CFArrayAppendValue(array.get(), nullptr);
  EXPECT_EQ(CFArrayGetValueAtIndex(array.get(), 0), &context);
  EXPECT_EQ(CFArrayGetValueAtIndex(array.get(), 1), nullptr);
  const Array same = makeArray(nullptr);
  CFArrayAppendValue(same.get(), &context);
  EXPECT_FALSE(CFEqual(array.get(), same.get()));
  CFArrayAppendValue(same.get(), nullptr);
  EXPECT_TRUE(CFEqual(array.get(), same.get()));
  EXPECT_EQ(CFHash(array.get()), CFHash(same.get()));
}

TEST_F(CFArray, CallBacks_AreCopiedAndHonoured) {
  static std::vector<std::string> calls;
  calls.clear();
  static const int stored = 0;
  auto* callBacks = new CFArrayCallBacks{};
  callBacks->retain = [](CFTypeRef) -> CFTypeRef {
    calls.emplace_back("retain");
    return &stored;
  };
  callBacks->release = [](CFTypeRef value) { calls.emplace_back(value == &stored ? "release" : "release of another"); };
  {
    const Array array = makeArray(callBacks);
    delete callBacks;
    const int given = 0;
    CFArrayAppendValue(array.get(), &given);
    EXPECT_EQ(CFArrayGetValueAtIndex(array.get(), 0), &stored);
  }
  EXPECT_EQ(calls, (std::vector<std::string>{"retain", "release"}));
}

TEST_F(CFArray, Capacity_IsOnlyAHint) {
  for (const CFIndex capacity : {-1L, 0L, 1L, INT64_MAX}) {
    const auto array = Array::adopt(CFArrayCreateMutable(nullptr, capacity, nullptr));
    ASSERT_TRUE(array) << capacity;
    for (int i = 0; i < 3; ++i) {
      CFArrayAppendValue(array.get(), nullptr);
    }
    EXPECT_EQ(CFArrayGetCount(array.get()), 3) << capacity;
  }
}

TEST_F(CFDictionary, Pairs_KeepTheOrderOfTheirFirstSetting) {
  const Dictionary dictionary = makeDictionary();
  const auto one = makeNumber(1);
  const auto two = makeNumber(2);
  CFDictionarySetValue(dictionary.get(), CFSTR("b"), one.get());
  CFDictionarySetValue(dictionary.get(), CFSTR("a"), one.get());
  CFDictionarySetValue(dictionary.get(), CFSTR("c"), one.get());
  CFDictionarySetValue(dictionary.get(), makeString("b").get(), two.get());
  EXPECT_EQ(retainCount(one.get()), 3U);
  EXPECT_EQ(retainCount(two.get()), 2U);
  ASSERT_EQ(CFDictionaryGetCount(dictionary.get()), 3);
  const void* keys[3];
  const void* values[3];
  CFDictionaryGetKeysAndValues(dictionary.get(), keys, values);
  EXPECT_EQ(std::vector<const void*>(keys, keys + 3), (std::vector<const void*>{CFSTR("b"), CFSTR("a"), CFSTR("c")}));
  EXPECT_EQ(std::vector<const void*>(values, values + 3), (std::vector<const void*>{two.get(), one.get(), one.get()}));
  CFDictionaryGetKeysAndValues(dictionary.get(), nullptr, values);
  CFDictionaryGetKeysAndValues(dictionary.get(), keys, nullptr);
  EXPECT_EQ(CFDictionaryGetValue(dictionary.get(), makeString("a").get()), one.get());
  EXPECT_EQ(CFDictionaryGetValue(dictionary.get(), CFSTR("d")), nullptr);
}

TEST_F(CFDictionary, ManyPairs_AreAllFoundAgain) {
  std::mt19937 random(1); // NOLINT: the same run each time
  for (const bool colliding : {false, true}) {
    CFDictionaryKeyCallBacks keyCallBacks = kCFTypeDictionaryKeyCallBacks;
    if (colliding) {
      keyCallBacks.hash = [](CFTypeRef key) { return CFHash(key) % 3; };
    }
    const auto dictionary =
        Dictionary::adopt(CFDictionaryCreateMutable(nullptr, 0, &keyCallBacks, &kCFTypeDictionaryValueCallBacks));
    std::vector<std::int32_t> expected(300, -1);
    std::size_t count = 0;
    for (int i = 0; i < 1000; ++i) {
      const std::uint32_t key = random() % 300;
      count += expected[key] < 0 ? 1U : 0U;
      expected[key] = i;
      CFDictionarySetValue(dictionary.get(), makeString(std::to_string(key)).get(), makeNumber(i).get());
      ASSERT_EQ(static_cast<std::size_t>(CFDictionaryGetCount(dictionary.get())), count);
    }
    for (std::size_t key = 0; key < expected.size(); ++key) {
      const void* value = CFDictionaryGetValue(dictionary.get(), makeString(std::to_string(key)).get());
      ASSERT_EQ(value != nullptr, expected[key] >= 0) << key;
      if (value != nullptr) {
        EXPECT_TRUE(CFEqual(value, makeNumber(expected[key]).get())) << key;
      }
    }
  }
}

TEST_F(CFDictionary, WithoutCallBacks_HoldsAnyPointers) {
  const Dictionary dictionary = makeRawDictionary();
  std::vector<int> things(100);
  for (const int& thing : things) {
    CFDictionarySetValue(dictionary.get(), &thing, nullptr);
    CFDictionarySetValue(dictionary.get(), &thing, &thing);
  }
  EXPECT_EQ(CFDictionaryGetCount(dictionary.get()), 100);
  for (const int& thing : things) {
    EXPECT_EQ(CFDictionaryGetValue(dictionary.get(), &thing), &thing);
  }
  EXPECT_EQ(CFDictionaryGetValue(dictionary.get(), &dictionary), nullptr);
}

TEST_F(CFDictionary, KeysComparedWithoutAHash_AreFound) {
  CFDictionaryKeyCallBacks keyCallBacks = {};
  keyCallBacks.equal = [](CFTypeRef a, CFTypeRef b) -> Boolean {
    return std::strcmp(static_cast<const char*>(a), static_cast<const char*>(b)) == 0;
  };
  const auto dictionary = Dictionary::adopt(CFDictionaryCreateMutable(nullptr, 0, &keyCallBacks, nullptr));
  std::vector<std::string> texts;
  texts.reserve(20);
  for (int i = 0; i < 20; ++i) {
    texts.push_back(std::to_string(i));
  }
  for (const std::string& text : texts) {
    CFDictionarySetValue(dictionary.get(), text.c_str(), &text);
  }
  const std::string seventeen = "17";
  EXPECT_EQ(CFDictionaryGetValue(dictionary.get(), seventeen.c_str()), &texts[17]);
}

TEST_F(CFDictionary, ReplacedValue_IsReleasedAfterTheNewOneIsRetained) {
  const Dictionary dictionary = makeDictionary();
  {
    const String value = makeString("value");
    CFDictionarySetValue(dictionary.get(), CFSTR("key"), value.get());
  }
  const void* held = CFDictionaryGetValue(dictionary.get(), CFSTR("key"));
  CFDictionarySetValue(dictionary.get(), CFSTR("key"), held); // its only reference is the one replaced
  EXPECT_EQ(retainCount(held), 1U);
}

TEST_F(CFDictionary, CollectionsOfEqualContent_AreEqualInDepth) {
  const auto build = [](const std::vector<int>& order, int leaf) {
    const Array array = makeArray();
    CFArrayAppendValue(array.get(), makeNumber(leaf).get());
    const Dictionary dictionary = makeDictionary();
    for (const int key : order) {
      CFDictionarySetValue(dictionary.get(), makeNumber(key).get(), array.get());
    }
    Array outer = makeArray();
    CFArrayAppendValue(outer.get(), dictionary.get());
    return outer;
  };
  const Array a = build({1, 2, 3}, 7);
  const Array b = build({3, 1, 2}, 7);
  EXPECT_TRUE(CFEqual(a.get(), b.get()));
  EXPECT_EQ(CFHash(a.get()), CFHash(b.get()));
  EXPECT_FALSE(CFEqual(a.get(), build({1, 2, 3}, 8).get()));
  EXPECT_FALSE(CFEqual(a.get(), build({1, 2, 4}, 7).get()));
  EXPECT_FALSE(CFEqual(a.get(), build({1, 2}, 7).get()));
  EXPECT_FALSE(CFEqual(makeDictionary().get(), makeRawDictionary().get())); // one compares keys by value, one does not
}

} // namespace
