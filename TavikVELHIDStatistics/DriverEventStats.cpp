// The event-queue counters that the driver and its user client publish in the I/O registry.

#include "Assertion.h"
#include "SensorInfo.h"
#include "StateData.h"

#include <IOKit/IOKitLib.h>

#include <cstdio>

namespace {

// The first child of a registry entry, or none; released with this.
class FirstChild {
public:
  explicit FirstChild(io_registry_entry_t parent) { IORegistryEntryGetChildEntry(parent, kIOServicePlane, &_entry); }
  ~FirstChild() {
    if (_entry != 0) {
      IOObjectRelease(_entry);
    }
  }
  FirstChild(const FirstChild&) = delete;
  FirstChild& operator=(const FirstChild&) = delete;
  io_registry_entry_t entry() const { return _entry; }

private:
  io_registry_entry_t _entry = 0;
};

// The "DebugState" of a registry entry; values that are missing or of another kind leave what was there.
class DebugState {
public:
  explicit DebugState(io_registry_entry_t entry)
      : _property(IORegistryEntryCreateCFProperty(entry, CFSTR("DebugState"), kCFAllocatorDefault, 0)) {}
  ~DebugState() {
    if (_property != nullptr) {
      CFRelease(_property);
    }
  }
  DebugState(const DebugState&) = delete;
  DebugState& operator=(const DebugState&) = delete;

  // A number too wide for the type leaves its low bits.
  void get(CFStringRef key, CFNumberType type, void* value) const {
    if (_property == nullptr || CFGetTypeID(_property) != CFDictionaryGetTypeID()) {
      return;
    }
    const void* number = CFDictionaryGetValue(static_cast<CFDictionaryRef>(_property), key);
    if (number != nullptr && CFGetTypeID(number) == CFNumberGetTypeID()) {
      CFNumberGetValue(static_cast<CFNumberRef>(number), type, value);
    }
  }

private:
  CFTypeRef _property;
};

double seconds(uint64_t nanoseconds) {
  return static_cast<double>(nanoseconds) / 1000000000.0;
}

} // namespace

void copyDriverEventStats(CFMutableDictionaryRef state, io_registry_entry_t device) {
  const FirstChild interface(device);
  if (interface.entry() == 0) {
    return logAssertion("interface", "", __LINE__, 0);
  }
  const FirstChild driver(interface.entry());
  if (driver.entry() == 0) {
    return logAssertion("driver", "", __LINE__, 0);
  }
  const FirstChild uc(driver.entry());
  if (uc.entry() == 0) {
    return logAssertion("uc", "", __LINE__, 0);
  }

  int32_t eventCount = -1;
  int64_t enqueued = -1; // the driver publishes 64 bits, the report shows the low 32
  int32_t dropped = -1;
  uint64_t lastEventTime = 0;
  uint64_t lastDroppedTime = 0;
  DebugState(driver.entry()).get(CFSTR("_num_events"), kCFNumberSInt32Type, &eventCount);
  const DebugState counters(uc.entry());
  counters.get(CFSTR("EnqueueEventCount"), kCFNumberSInt64Type, &enqueued);
  counters.get(CFSTR("DroppedEventCount"), kCFNumberSInt32Type, &dropped);
  counters.get(CFSTR("LastEventTime"), kCFNumberSInt64Type, &lastEventTime);
  counters.get(CFSTR("LastDroppedEventTime"), kCFNumberSInt64Type, &lastDroppedTime);

  char text[256]; // the newline belongs to the value, by design
  std::snprintf(text, sizeof text, "%d [enqueued=%d dropped=%d; event_delta=%f dropped_delta=%f]\n", eventCount,
                static_cast<int32_t>(enqueued), dropped, seconds(lastEventTime), seconds(lastDroppedTime));
  dictSetCString(state, CFSTR("APEvents"), text);
}
