// Matching: a dictionary of criteria, all of which an entry must meet, and the search for the first that does.
#include "announce.h"
#include "cf/dictionary.h"
#include "cf/make.h"
#include "cf/number.h"
#include "cf/string.h"
#include "services/iokit/registry.h"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>

#include <optional>
#include <string>

using vel::control::Ref;
using vel::platform::announce;
using vel::platform::Entry;
using vel::platform::watching;

namespace {

constexpr const char* idKey = "IORegistryEntryID";
constexpr const char* nameKey = "IONameMatch";
constexpr const char* classKey = "IOProviderClass";

// A dictionary with one criterion; consumes `value`, null or not.
CFMutableDictionaryRef criterion(const char* key, CFTypeRef value) {
  const auto owned = Ref<CFTypeRef>::adopt(value);
  const auto name = Ref<CFStringRef>::adopt(vel::platform::makeString(nullptr, key));
  auto dictionary = Ref<CFMutableDictionaryRef>::adopt(vel::platform::makeDictionary(nullptr));
  if (!owned || !name || !dictionary) {
    return nullptr;
  }
  CFDictionarySetValue(dictionary.get(), name.get(), owned.get());
  return dictionary.release();
}

CFMutableDictionaryRef textCriterion(const char* function, const char* key, const char* text) {
  if (announce(function, text) || text == nullptr) {
    return nullptr;
  }
  return criterion(key, vel::platform::makeString(nullptr, text));
}

struct Criteria {
  std::optional<std::uint64_t> id;
  std::optional<std::string> name;
  std::optional<std::string> className;
  bool impossible = true; // no criterion, or one that no entry can meet

  bool matches(const Entry& entry) const {
    return !impossible && (!id || *id == entry.facts.id) && (!name || *name == entry.facts.name) &&
           (!className || *className == entry.facts.className);
  }
};

// The object as a T; null if it is of another type.
template <class T>
const T* asType(const void* object) {
  return object == nullptr ? nullptr : vel::platform::as<T>(vel::platform::objectAt(object, "matching"));
}

Criteria criteria(const CFDictionaryObject& dictionary) {
  Criteria wanted;
  if (!dictionary.holdsObjects()) {
    return wanted;
  }
  for (const auto& pair : dictionary.pairs()) {
    const auto* const key = asType<CFStringObject>(pair.key);
    const auto* const text = asType<CFStringObject>(pair.value);
    const auto* const number = asType<CFNumberObject>(pair.value);
    if (key != nullptr && key->view() == idKey && number != nullptr && !number->isReal()) {
      wanted.id = static_cast<std::uint64_t>(number->integer());
    } else if (key != nullptr && key->view() == nameKey && text != nullptr) {
      wanted.name = text->view();
    } else if (key != nullptr && key->view() == classKey && text != nullptr) {
      wanted.className = text->view();
    } else {
      return {};
    }
    wanted.impossible = false;
  }
  return wanted;
}

// "IONameMatch=KIP_profile", for the record of calls.
std::string describeMatching(const Criteria& wanted) {
  std::string all;
  const auto add = [&](const char* key, const std::string& value) {
    all += (all.empty() ? "" : ", ") + std::string(key) + "=" + value;
  };
  if (wanted.id) {
    add(idKey, std::to_string(*wanted.id));
  }
  if (wanted.name) {
    add(nameKey, *wanted.name);
  }
  if (wanted.className) {
    add(classKey, *wanted.className);
  }
  return all;
}

} // namespace

CFMutableDictionaryRef IORegistryEntryIDMatching(uint64_t entryID) {
  if (announce("IORegistryEntryIDMatching", entryID)) {
    return nullptr;
  }
  return criterion(idKey, vel::platform::makeNumber(nullptr, static_cast<std::int64_t>(entryID)));
}

CFMutableDictionaryRef IOServiceNameMatching(const char* name) {
  return textCriterion("IOServiceNameMatching", nameKey, name);
}

CFMutableDictionaryRef IOServiceMatching(const char* className) {
  return textCriterion("IOServiceMatching", classKey, className);
}

io_service_t IOServiceGetMatchingService(mach_port_t masterPort, CFDictionaryRef matching) {
  const auto consumed = Ref<CFDictionaryRef>::adopt(matching);
  const auto wanted =
      matching == nullptr ? Criteria{} : criteria(vel::platform::expect(matching, "IOServiceGetMatchingService"));
  const auto described = watching.load(std::memory_order_relaxed) != 0 ? describeMatching(wanted) : std::string();
  if (announce("IOServiceGetMatchingService", described.c_str()) || masterPort != kIOMasterPortDefault) {
    return 0;
  }
  auto& registry = vel::platform::registry();
  const std::lock_guard lock(registry.mutex);
  auto* const entry = registry.first([&](const Entry& candidate) { return wanted.matches(candidate); });
  return entry == nullptr ? 0 : registry.reference(*entry);
}
