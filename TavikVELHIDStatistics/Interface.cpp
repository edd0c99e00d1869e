// The plug-in's edge: the interface table, its trampolines, and the factory that the bundle exports. Static
// assertions check the layouts of all tables that cross it.

#include "TavikVELHIDStatistics.h"

#include <type_traits>

namespace {

using Table = IOHIDSessionFilterPlugInInterface;

constexpr size_t entries(size_t count) {
  return count * sizeof(void*);
}
static_assert(sizeof(Table) == entries(18), "the event system fixes the table at 18 entries");
static_assert(offsetof(Table, QueryInterface) == entries(1));
static_assert(offsetof(Table, AddRef) == entries(2));
static_assert(offsetof(Table, Release) == entries(3));
static_assert(offsetof(Table, open) == entries(7));
static_assert(offsetof(Table, close) == entries(8));
static_assert(offsetof(Table, registerService) == entries(11));
static_assert(offsetof(Table, scheduleWithDispatchQueue) == entries(13));
static_assert(offsetof(Table, unscheduleFromDispatchQueue) == entries(14));
static_assert(offsetof(VELDriverInterface, open) == entries(8), "the driver fixes the places of what is called");
static_assert(offsetof(VELDriverInterface, command) == entries(10));
static_assert(offsetof(VELDeviceInterface, open) == entries(8), "the device too");
static_assert(offsetof(VELDeviceInterface, setDataCallback) == entries(17));
static_assert(offsetof(VELDeviceInterface, setDispatchQueue) == entries(18));
static_assert(std::is_standard_layout_v<TavikVELHIDStatistics> && offsetof(TavikVELHIDStatistics, _vtbl) == 0,
              "the event system takes the object for a pointer to a table pointer");

TavikVELHIDStatistics* object(void* self) {
  return static_cast<TavikVELHIDStatistics*>(self);
}

HRESULT queryInterface(void* self, REFIID iid, LPVOID* ppv) {
  return object(self)->QueryInterface(iid, ppv);
}

ULONG addRef(void* self) {
  return object(self)->AddRef();
}

ULONG release(void* self) {
  return object(self)->Release();
}

boolean_t openSession(void* self, IOHIDSessionRef session, IOOptionBits options) {
  object(self)->open(session, options);
  return 1; // the member's result is not used
}

void closeSession(void* self, IOHIDSessionRef session, IOOptionBits options) {
  object(self)->close(session, options);
}

void registerServiceEntry(void* self, IOHIDServiceRef service) {
  object(self)->registerService(service);
}

void schedule(void* self, dispatch_queue_t queue) {
  object(self)->scheduleWithDispatchQueue(queue);
}

void unschedule(void* self, dispatch_queue_t queue) {
  object(self)->unscheduleFromDispatchQueue(queue);
}

} // namespace

const Table TavikVELHIDStatistics::vtbl = {
    ._reserved = nullptr,
    .QueryInterface = queryInterface,
    .AddRef = addRef,
    .Release = release,
    .slot4 = nullptr,
    .slot5 = nullptr,
    .slot6 = nullptr,
    .open = openSession,
    .close = closeSession,
    .slot9 = nullptr,
    .slot10 = nullptr,
    .registerService = registerServiceEntry,
    .slot12 = nullptr,
    .scheduleWithDispatchQueue = schedule,
    .unscheduleFromDispatchQueue = unschedule,
    .slot15 = nullptr,
    .slot16 = nullptr,
    .slot17 = nullptr,
};

// The bundle's factory: an object of the session-filter type with a count of 1, or null for any other type.
// [create: caller releases, through the object's table]
extern "C" __attribute__((visibility("default"))) void* TavikVELHIDStatisticsFactory(CFAllocatorRef allocator,
                                                                                     CFUUIDRef typeID) {
  if (!CFEqual(typeID, kIOHIDSessionFilterPlugInTypeID)) {
    return nullptr;
  }
  return TavikVELHIDStatistics::alloc(allocator);
}
