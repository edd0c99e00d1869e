// The event-queue counters that the driver and its user client publish in the I/O registry.

#include "Assertion.h"
#include "Owned.h"
#include "SensorInfo.h"
#include "StateData.h"

#include <IOKit/IOKitLib.h>

#include <cstdio>

namespace {

// The first child of a registry entry, or none.
OwnedIOObject firstChild(io_registry_entry_t parent) {
  OwnedIOObject child;
  IORegistryEntryGetChildEntry(parent, kIOServicePlane, child.out());
  return child;
}

OwnedCF<CFTypeRef> copyDebugState(const OwnedIOObject& entry) {
  return OwnedCF<CFTypeRef>(IORegistryEntryCreateCFProperty(entry.get(), CFSTR("DebugState"), kCFAllocatorDefault, 0));
}

// Missing values and values of another type leave the variable unchanged. A number too wide for the type stores its low
// bits.
void getNumber(const OwnedCF<CFTypeRef>& state, CFStringRef key, CFNumberType type, void* value) {
  if (!state || CFGetTypeID(state.get()) != CFDictionaryGetTypeID()) {
    return;
  }
  const void* number = CFDictionaryGetValue(static_cast<CFDictionaryRef>(state.get()), key);
  if (number != nullptr && CFGetTypeID(number) == CFNumberGetTypeID()) {
    CFNumberGetValue(static_cast<CFNumberRef>(number), type, value);
  }
}

double seconds(uint64_t nanoseconds) {
  return static_cast<double>(nanoseconds) / 1000000000.0;
}

} // namespace

void copyDriverEventStats(CFMutableDictionaryRef state, io_registry_entry_t device) {
  const OwnedIOObject interface = firstChild(device);
  if (!interface) {
    return logAssertion("interface", "", 67, 0);
  }
  const OwnedIOObject driver = firstChild(interface.get());
  if (!driver) {
    return logAssertion("driver", "", 71, 0);
  }
  const OwnedIOObject uc = firstChild(driver.get());
  if (!uc) {
    return logAssertion("uc", "", 75, 0);
  }

  int32_t eventCount = -1;
  int64_t enqueued = -1; // the driver publishes 64 bits, the report shows the low 32
  int32_t dropped = -1;
  uint64_t lastEventTime = 0;
  uint64_t lastDroppedTime = 0;
  getNumber(copyDebugState(driver), CFSTR("_num_events"), kCFNumberSInt32Type, &eventCount);
  const OwnedCF<CFTypeRef> counters = copyDebugState(uc);
  getNumber(counters, CFSTR("EnqueueEventCount"), kCFNumberSInt64Type, &enqueued);
  getNumber(counters, CFSTR("DroppedEventCount"), kCFNumberSInt32Type, &dropped);
  getNumber(counters, CFSTR("LastEventTime"), kCFNumberSInt64Type, &lastEventTime);
  getNumber(counters, CFSTR("LastDroppedEventTime"), kCFNumberSInt64Type, &lastDroppedTime);

  char text[256]; // the newline belongs to the value, by design
  std::snprintf(text, sizeof text, "%d [enqueued=%d dropped=%d; event_delta=%f dropped_delta=%f]\n", eventCount,
                static_cast<int32_t>(enqueued), dropped, seconds(lastEventTime), seconds(lastDroppedTime));
  dictSetCString(state, CFSTR("APEvents"), text);
}
