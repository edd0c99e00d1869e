// Makes objects, with one function for each type of value.
#include "host/cf_values.h"

#include <host/error.h>

namespace vel::host {

namespace {

using control::Ref;

Ref<CFStringRef> makeString(const std::string& text) {
  auto string =
      Ref<CFStringRef>::adopt(CFStringCreateWithCString(kCFAllocatorDefault, text.c_str(), kCFStringEncodingUTF8));
  if (!string) {
    throw Error("a property's text is not UTF-8");
  }
  return string;
}

struct Make {
  Ref<CFTypeRef> operator()(const formats::Dictionary& dictionary) const {
    return Ref<CFTypeRef>::adopt(makeDictionary(dictionary).release());
  }
  Ref<CFTypeRef> operator()(const formats::Array& values) const {
    auto array = Ref<CFMutableArrayRef>::adopt(CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
    for (const formats::Value& value : values) {
      CFArrayAppendValue(array.get(), makeObject(value).get());
    }
    return Ref<CFTypeRef>::adopt(array.release());
  }
  Ref<CFTypeRef> operator()(const std::string& text) const { return Ref<CFTypeRef>::adopt(makeString(text).release()); }
  Ref<CFTypeRef> operator()(const std::int64_t& number) const {
    return Ref<CFTypeRef>::adopt(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &number));
  }
  Ref<CFTypeRef> operator()(const double& number) const {
    return Ref<CFTypeRef>::adopt(CFNumberCreate(kCFAllocatorDefault, kCFNumberDoubleType, &number));
  }
  Ref<CFTypeRef> operator()(const bool& flag) const {
    return Ref<CFTypeRef>::share(flag ? kCFBooleanTrue : kCFBooleanFalse);
  }
  Ref<CFTypeRef> operator()(const formats::Bytes& bytes) const {
    return Ref<CFTypeRef>::adopt(CFDataCreate(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(bytes.data()),
                                              static_cast<CFIndex>(bytes.size())));
  }
};

} // namespace

Ref<CFTypeRef> makeObject(const formats::Value& value) {
  return std::visit(Make(), value.content);
}

Ref<CFDictionaryRef> makeDictionary(const formats::Dictionary& members) {
  auto dictionary = Ref<CFMutableDictionaryRef>::adopt(CFDictionaryCreateMutable(
      kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
  for (const formats::Member& member : members) {
    CFDictionarySetValue(dictionary.get(), makeString(member.key).get(), makeObject(member.value).get());
  }
  return Ref<CFDictionaryRef>::adopt(dictionary.release());
}

} // namespace vel::host
