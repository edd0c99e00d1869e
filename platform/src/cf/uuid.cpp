// UUIDs, constant UUIDs, and the functions of CFUUID.h.
#include "announce.h"
#include "cf/constants.h"
#include "cf/make.h"
#include "cf/object.h"
#include "control/cf.h"

#include <CoreFoundation/CFPlugIn.h>
#include <CoreFoundation/CFUUID.h>

#include <array>
#include <cstring>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <string_view>

using namespace vel::platform;

struct CFUUIDObject final : Object {
  static Type kind;

  CFUUIDObject(CFAllocatorRef allocator, const CFUUIDBytes& of) : Object(kind, allocator), bytes(of) {}

  bool equals(const Object& other) const override { return view() == static_cast<const CFUUIDObject&>(other).view(); }
  CFHashCode hash() const override { return std::hash<std::string_view>()(view()); }

  std::string_view view() const { return {reinterpret_cast<const char*>(&bytes), sizeof bytes}; }

  const CFUUIDBytes bytes;
};

Type CFUUIDObject::kind("CFUUID");

namespace {

constinit Constants<CFUUIDObject> uuidConstants;

// The instances of plug-in factories, by the bytes of the factory's UUID.
struct Instances {
  std::mutex lock;
  std::map<std::string, std::size_t, std::less<>> counts;
};

Instances& instances() {
  static auto& all = *new Instances; // outlives the plug-ins that count down in static destructors
  return all;
}

// A dash precedes these bytes in the canonical text.
constexpr bool dashBefore(std::size_t byte) {
  return byte == 4 || byte == 6 || byte == 8 || byte == 10;
}

int hexDigit(char character) {
  if (character >= '0' && character <= '9') {
    return character - '0';
  }
  const char lower = static_cast<char>(character | 0x20);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

} // namespace

CFUUIDRef vel::platform::makeUUID(CFAllocatorRef allocator, const CFUUIDBytes& bytes) {
  return create<CFUUIDObject>(allocator, 0, bytes);
}

std::string vel::platform::describe(CFUUIDRef uuid) {
  return uuid == nullptr ? "(null)" : vel::control::uuidString(uuid);
}

CFTypeID CFUUIDGetTypeID(void) {
  return CFUUIDObject::kind.id();
}

CFUUIDRef CFUUIDCreateFromUUIDBytes(CFAllocatorRef allocator, CFUUIDBytes bytes) {
  if (announce("CFUUIDCreateFromUUIDBytes", Detail{allocator})) {
    return nullptr;
  }
  return makeUUID(allocator, bytes);
}

CFUUIDRef CFUUIDGetConstantUUIDWithBytes(CFAllocatorRef allocator, UInt8 byte0, UInt8 byte1, UInt8 byte2, UInt8 byte3,
                                         UInt8 byte4, UInt8 byte5, UInt8 byte6, UInt8 byte7, UInt8 byte8, UInt8 byte9,
                                         UInt8 byte10, UInt8 byte11, UInt8 byte12, UInt8 byte13, UInt8 byte14,
                                         UInt8 byte15) {
  // The allocator is not used, because a constant outlives any custom allocator.
  const CFUUIDBytes bytes = {byte0, byte1, byte2,  byte3,  byte4,  byte5,  byte6,  byte7,
                             byte8, byte9, byte10, byte11, byte12, byte13, byte14, byte15};
  const std::string_view view = {reinterpret_cast<const char*>(&bytes), sizeof bytes};
  CFUUIDRef uuid = uuidConstants.get(
      std::hash<std::string_view>()(view), [view](const CFUUIDObject& object) { return object.view() == view; },
      [&bytes] {
        CFUUIDRef made = makeUUID(nullptr, bytes);
        if (made == nullptr) {
          misuse("CFUUIDGetConstantUUIDWithBytes", "out of memory");
        }
        made->makeConstant();
        return made;
      });
  noteDetail("CFUUIDGetConstantUUIDWithBytes", allocator, uuid);
  return uuid;
}

CFUUIDBytes CFUUIDGetUUIDBytes(CFUUIDRef uuid) {
  return expect(uuid, "CFUUIDGetUUIDBytes").bytes;
}

void CFPlugInAddInstanceForFactory(CFUUIDRef factoryID) {
  note("CFPlugInAddInstanceForFactory", factoryID);
  const CFUUIDObject& factory = expect(factoryID, "CFPlugInAddInstanceForFactory");
  Instances& all = instances();
  const std::lock_guard guard(all.lock);
  ++all.counts[std::string(factory.view())];
}

void CFPlugInRemoveInstanceForFactory(CFUUIDRef factoryID) {
  note("CFPlugInRemoveInstanceForFactory", factoryID);
  const CFUUIDObject& factory = expect(factoryID, "CFPlugInRemoveInstanceForFactory");
  Instances& all = instances();
  const std::lock_guard guard(all.lock);
  const auto found = all.counts.find(factory.view());
  if (found == all.counts.end()) {
    misuse("CFPlugInRemoveInstanceForFactory", "factory %s has no instances", describe(factoryID).c_str());
  }
  if (--found->second == 0) {
    all.counts.erase(found);
  }
}

namespace vel::control {

std::size_t plugInInstances(CFUUIDRef factoryID) {
  const CFUUIDObject& factory = expect(factoryID, "plugInInstances");
  Instances& all = instances();
  const std::lock_guard guard(all.lock);
  const auto found = all.counts.find(factory.view());
  return found == all.counts.end() ? 0 : found->second;
}

std::string uuidString(CFUUIDRef uuid) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  const std::string_view bytes = expect(uuid, "uuidString").view();
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const auto byte = static_cast<unsigned char>(bytes[i]);
    if (dashBefore(i)) {
      text += '-';
    }
    text += digits[byte >> 4];
    text += digits[byte & 15];
  }
  return text;
}

CFUUIDRef createUUID(std::string_view text) {
  std::array<std::uint8_t, sizeof(CFUUIDBytes)> bytes;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (dashBefore(i)) {
      if (text.empty() || text.front() != '-') {
        return nullptr;
      }
      text.remove_prefix(1);
    }
    const int high = text.size() < 2 ? -1 : hexDigit(text[0]);
    const int low = text.size() < 2 ? -1 : hexDigit(text[1]);
    if (high < 0 || low < 0) {
      return nullptr;
    }
    bytes[i] = static_cast<std::uint8_t>(high << 4 | low);
    text.remove_prefix(2);
  }
  CFUUIDBytes inOrder;
  std::memcpy(&inOrder, bytes.data(), sizeof inOrder);
  return text.empty() ? makeUUID(nullptr, inOrder) : nullptr;
}

} // namespace vel::control
