// Writes the property list that cf_property_list_check.py reads to the file named by its argument.

#include <control/ref.h>

#include <CoreFoundation/CoreFoundation.h>

#include <cstdio>
#include <limits>
#include <string>

using vel::control::Ref;

namespace {

CFMutableDictionaryRef createDictionary() {
  return CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
}

// Takes over the value.
void set(CFMutableDictionaryRef dictionary, const char* key, CFTypeRef value) {
  CFStringRef string = CFStringCreateWithCString(nullptr, key, kCFStringEncodingUTF8);
  CFDictionarySetValue(dictionary, string, value);
  CFRelease(value);
  CFRelease(string);
}
void set32(CFMutableDictionaryRef dictionary, const char* key, std::int32_t value) {
  set(dictionary, key, CFNumberCreate(nullptr, kCFNumberSInt32Type, &value));
}
void set64(CFMutableDictionaryRef dictionary, const char* key, std::int64_t value) {
  set(dictionary, key, CFNumberCreate(nullptr, kCFNumberSInt64Type, &value));
}
void setReal(CFMutableDictionaryRef dictionary, const char* key, double value) {
  set(dictionary, key, CFNumberCreate(nullptr, kCFNumberDoubleType, &value));
}
void setText(CFMutableDictionaryRef dictionary, const char* key, const char* value) {
  set(dictionary, key, CFStringCreateWithCString(nullptr, value, kCFStringEncodingUTF8));
}
void setData(CFMutableDictionaryRef dictionary, const char* key, const std::string& value) {
  set(dictionary, key,
      CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(value.data()), static_cast<CFIndex>(value.size())));
}

CFMutableDictionaryRef createContent() {
  CFMutableDictionaryRef all = createDictionary();
  set32(all, "32: -1", -1);
  set32(all, "32: least", INT32_MIN);
  set32(all, "32: most", INT32_MAX);
  for (const std::int64_t value :
       {0L, 1L, 127L, 128L, 255L, 256L, 65535L, 65536L, 2147483648L, 4294967295L, 4294967296L}) {
    set64(all, ("64: " + std::to_string(value)).c_str(), value);
  }
  set64(all, "64: -1", -1);
  set64(all, "64: least", INT64_MIN);
  set64(all, "64: most", INT64_MAX);
  setReal(all, "real: 0.1", 0.1);
  setReal(all, "real: 1", 1);
  setReal(all, "real: -2.5", -2.5);
  setReal(all, "real: largest", std::numeric_limits<double>::max());
  set(all, "true", kCFBooleanTrue);
  set(all, "false", kCFBooleanFalse);
  setText(all, "text: empty", "");
  setText(all, "text: 14", "fourteen bytes");
  setText(all, "text: 15", "fifteen bytes..");
  setText(all, "text: 300", std::string(300, 'x').c_str());
  setText(all, "text: 70000", std::string(70000, 'y').c_str());
  setText(all, "text: control", "\x01\t\n\x7F");
  setText(all, "text: accents", "caf\u00E9 \u20AC");
  setText(all, "text: pairs", "\U0001F600\U0010FFFF");
  setText(all, "text: a key", "true");
  setText(all, "\u00FCber", "umlaut key");
  setData(all, "data: empty", "");
  setData(all, "data: bytes", std::string("\x00\xFF\x80", 3));

  // The two values that one reader or another takes for the same: they must not be merged.
  CFMutableArrayRef array = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
  const std::int32_t one = 1;
  const double realOne = 1;
  CFTypeRef values[] = {CFNumberCreate(nullptr, kCFNumberSInt32Type, &one),
                        CFNumberCreate(nullptr, kCFNumberDoubleType, &realOne),
                        kCFBooleanTrue,
                        CFStringCreateWithCString(nullptr, "1", kCFStringEncodingASCII),
                        CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks),
                        createDictionary(),
                        createDictionary()};
  for (CFTypeRef value : values) {
    CFArrayAppendValue(array, value);
    CFRelease(value);
  }
  CFMutableDictionaryRef inner = createDictionary();
  set(inner, "array", array);
  CFMutableDictionaryRef outer = createDictionary();
  set(outer, "inner", inner);
  set(all, "outer", outer);

  // Enough items that their references need two bytes.
  CFMutableArrayRef many = CFArrayCreateMutable(nullptr, 0, &kCFTypeArrayCallBacks);
  for (std::int32_t i = 0; i < 1000; ++i) {
    CFNumberRef number = CFNumberCreate(nullptr, kCFNumberSInt32Type, &i);
    CFArrayAppendValue(many, number);
    CFRelease(number);
  }
  set(all, "many", many);
  return all;
}

} // namespace

int main(int, char** arguments) {
  const auto all = Ref<CFMutableDictionaryRef>::adopt(createContent());
  const auto data =
      Ref<CFDataRef>::adopt(CFPropertyListCreateData(nullptr, all.get(), kCFPropertyListBinaryFormat_v1_0, 0, nullptr));
  std::FILE* file = !data || arguments[1] == nullptr ? nullptr : std::fopen(arguments[1], "wb");
  if (file == nullptr) {
    std::perror("property list");
    return 1;
  }
  const auto length = static_cast<std::size_t>(CFDataGetLength(data.get()));
  const bool whole = std::fwrite(CFDataGetBytePtr(data.get()), 1, length, file) == length;
  return std::fclose(file) == 0 && whole ? 0 : 1;
}
