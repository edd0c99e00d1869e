// Empty containers to fill.
#pragma once

#include <control/ref.h>

#include <CoreFoundation/CoreFoundation.h>

using Array = vel::control::Ref<CFMutableArrayRef>;
using Dictionary = vel::control::Ref<CFMutableDictionaryRef>;

inline Array makeArray(const CFArrayCallBacks* callBacks = &kCFTypeArrayCallBacks) {
  return Array::adopt(CFArrayCreateMutable(nullptr, 0, callBacks));
}
inline Dictionary makeDictionary() {
  return Dictionary::adopt(
      CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
}
