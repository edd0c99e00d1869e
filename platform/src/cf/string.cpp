// Strings, constant strings, and the functions of CFString.h.
#include "cf/string.h"

#include "announce.h"
#include "cf/constants.h"
#include "cf/encoding.h"
#include "cf/make.h"
#include "control/cf.h"

#include <functional>
#include <limits>
#include <optional>
#include <string>

using namespace vel::platform;

Type CFStringObject::kind("CFString");

CFStringObject::CFStringObject(CFAllocatorRef allocator, std::string_view utf8, std::size_t length)
    : Object(kind, allocator), size_(utf8.size()), length_(length) {
  auto* bytes = reinterpret_cast<char*>(this + 1);
  utf8.copy(bytes, utf8.size());
  bytes[utf8.size()] = '\0';
}

bool CFStringObject::equals(const Object& other) const {
  return view() == static_cast<const CFStringObject&>(other).view();
}

CFHashCode CFStringObject::hash() const {
  return std::hash<std::string_view>()(view());
}

namespace vel::platform {
namespace {

bool known(CFStringEncoding encoding) {
  return encoding == kCFStringEncodingMacRoman || encoding == kCFStringEncodingASCII ||
         encoding == kCFStringEncodingUTF8;
}

CFStringRef stringOf(CFAllocatorRef allocator, std::string_view utf8, std::size_t length) {
  return create<CFStringObject>(allocator, utf8.size() + 1, utf8, length);
}

constinit Constants<CFStringObject> stringConstants;

// Copies bytes and a NUL; false when there is no room.
bool copyOut(std::string_view bytes, char* buffer, CFIndex size) {
  if (buffer == nullptr || size <= 0 || bytes.size() >= static_cast<std::size_t>(size)) {
    return false;
  }
  buffer[bytes.copy(buffer, bytes.size())] = '\0';
  return true;
}

} // namespace

CFStringRef makeString(CFAllocatorRef allocator, std::string_view bytes, CFStringEncoding encoding) {
  if (!known(encoding)) {
    return nullptr;
  }
  if (isAscii(bytes)) {
    return stringOf(allocator, bytes, bytes.size());
  }
  if (encoding == kCFStringEncodingUTF8) {
    const std::optional<std::size_t> length = utf16Length(bytes);
    return length ? stringOf(allocator, bytes, *length) : nullptr;
  }
  if (encoding == kCFStringEncodingMacRoman) {
    const std::optional<std::string> utf8 = macRomanToUtf8(bytes);
    return utf8 ? stringOf(allocator, *utf8, bytes.size()) : nullptr;
  }
  return nullptr; // not ASCII, although that was asked for
}

} // namespace vel::platform

CFTypeID CFStringGetTypeID(void) {
  return CFStringObject::kind.id();
}

CFStringRef CFStringCreateWithCString(CFAllocatorRef allocator, const char* text, CFStringEncoding encoding) {
  if (announce("CFStringCreateWithCString", Detail{allocator}, text, encoding) || text == nullptr) {
    return nullptr;
  }
  // NOLINTNEXTLINE(clang-analyzer-osx.cocoa.RetainCount): the new object's one reference is the caller's
  return makeString(allocator, text, encoding);
}

const char* CFStringGetCStringPtr(CFStringRef string, CFStringEncoding encoding) {
  if (announce("CFStringGetCStringPtr", encoding)) {
    return nullptr;
  }
  const CFStringObject& object = expect(string, "CFStringGetCStringPtr");
  const bool stored = encoding == kCFStringEncodingUTF8 || (known(encoding) && object.ascii());
  return stored ? object.text() : nullptr;
}

Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex size, CFStringEncoding encoding) {
  if (announce("CFStringGetCString", size, encoding)) {
    return false;
  }
  const CFStringObject& object = expect(string, "CFStringGetCString");
  if (encoding == kCFStringEncodingUTF8 || (known(encoding) && object.ascii())) {
    return copyOut(object.view(), buffer, size);
  }
  if (encoding == kCFStringEncodingMacRoman) {
    const std::optional<std::string> bytes = utf8ToMacRoman(object.view());
    return bytes && copyOut(*bytes, buffer, size);
  }
  return false;
}

CFIndex CFStringGetLength(CFStringRef string) {
  return static_cast<CFIndex>(expect(string, "CFStringGetLength").length());
}

CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding) {
  // A UTF-16 unit takes at most 3 bytes of UTF-8: the characters of 4 bytes are two units.
  const CFIndex most = encoding == kCFStringEncodingUTF8 ? 3 : 1;
  if (!known(encoding) || length < 0 || length > std::numeric_limits<CFIndex>::max() / most) {
    return -1;
  }
  return length * most;
}

CFStringRef CFStringGetConstantString(const char* text) {
  if (text == nullptr) {
    misuse("CFStringGetConstantString", "null in place of text");
  }
  const std::string_view view = text;
  return stringConstants.get(
      std::hash<std::string_view>()(view), [view](const CFStringObject& object) { return object.view() == view; },
      [view] {
        const CFStringObject* object = makeString(nullptr, view, kCFStringEncodingUTF8);
        if (object == nullptr) {
          misuse("CFStringGetConstantString", utf16Length(view) ? "out of memory: \"%s\"" : "not UTF-8: \"%s\"",
                 view.data());
        }
        object->makeConstant();
        return object;
      });
}

std::string vel::control::utf8(CFStringRef string) {
  return std::string(expect(string, "utf8").view());
}
