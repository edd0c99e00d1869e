// Session-filter plug-ins for the host's tests: one that logs every call it gets, and, by the macro that it is built
// with, some that no host can work with.
#include <control/notify.h>
#include <control/queue.h>
#include <control/state.h>

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/hid/IOHIDSessionFilterPlugIn.h>
#include <notify.h>
#include <os/log.h>
#include <os/state.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <malloc.h>
#include <unistd.h>

namespace {

int queuedLate = 0;
std::atomic<int> doneLate = 0;

struct PlugIn {
  const IOHIDSessionFilterPlugInInterface* table;
  std::uint32_t count;
  dispatch_queue_t queue;
  IOHIDSessionRef session;
};

void say(const char* call) {
  os_log(os_log_create("test", "plug-in"), "%s", call);
}

// Says a call, and also if its arguments or its time are not the right ones.
void say(const char* call, bool right) {
  say(call);
  if (!right) {
    say("... wrongly");
  }
}

[[maybe_unused]] CFUUIDRef factoryID() {
  return CFUUIDGetConstantUUIDWithBytes(nullptr, 0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0x09, 0x0A, 0x0B, 0x0C,
                                        0x0D, 0x0E, 0x0F, 0x10);
}

PlugIn& of(void* self) {
  return *static_cast<PlugIn*>(self);
}

#ifdef PLUG_IN_WITH_POOR_INTERFACE
// An interface with everything that a session needs except Release.
IOHIDSessionFilterPlugInInterface* poorInterface();
#endif

HRESULT queryInterface(void* self, REFIID, LPVOID* interface) {
  say("QueryInterface");
#if defined PLUG_IN_WITHOUT_INTERFACE
  static_cast<void>(self);
  *interface = nullptr;
  return E_NOINTERFACE;
#elif defined PLUG_IN_WITH_NULL_INTERFACE
  static_cast<void>(self);
  *interface = nullptr;
  return S_OK;
#elif defined PLUG_IN_WITH_REFUSED_INTERFACE
  *interface = self;
  return E_NOINTERFACE;
#elif defined PLUG_IN_WITH_POOR_INTERFACE
  static_cast<void>(self);
  static IOHIDSessionFilterPlugInInterface* object = poorInterface();
  *interface = &object;
  return S_OK;
#elif defined PLUG_IN_WITH_INTERFACE_WITHOUT_TABLE
  static_cast<void>(self);
  static const IOHIDSessionFilterPlugInInterface* object = nullptr;
  *interface = &object;
  return S_OK;
#else
  ++of(self).count;
  *interface = self;
  return S_OK;
#endif
}

ULONG addRef(void* self) {
  return ++of(self).count;
}

[[maybe_unused]] ULONG release(void* self) {
  const std::uint32_t left = --of(self).count;
  say("Release", left != 0 || doneLate == queuedLate);
  if (left == 0) {
#ifndef PLUG_IN_THAT_STAYS
    CFPlugInRemoveInstanceForFactory(factoryID());
#endif
    std::free(self);
  }
  return left;
}

boolean_t open(void* self, IOHIDSessionRef session, IOOptionBits options) {
  say("open", session != nullptr && options == 0);
  of(self).session = session;
#if defined PLUG_IN_THAT_REFUSES
  return 0;
#elif defined PLUG_IN_THAT_CRASHES
  std::abort();
#elif defined PLUG_IN_THAT_HANGS
  std::fputs("hanging\n", stderr);
  for (;;) {
    pause();
  }
#else
  return 1;
#endif
}

void close(void* self, IOHIDSessionRef session, IOOptionBits options) {
  say("close", session == of(self).session && options == 0);
}

void schedule(void* self, dispatch_queue_t queue) {
  say("scheduleWithDispatchQueue", queue != nullptr);
  of(self).queue = queue;
  int token = 0;
  notify_register_dispatch("test.notification", &token, queue, ^(int) {
    say("notified");
  });
}

// Leaves work and a registration behind, as a plug-in may. There is too much of it to be done before the caller goes
// on.
[[maybe_unused]] void unschedule(void* self, dispatch_queue_t queue) {
  say("unscheduleFromDispatchQueue", queue == of(self).queue && vel::control::stateHandlers().empty() &&
                                         vel::control::notificationRegistrations() == 0);
  for (int i = 0; i < 1000; ++i) {
    ++queuedLate;
    vel::control::async(queue, [] { ++doneLate; });
  }
  int token = 0;
  notify_register_dispatch("test.notification", &token, queue, ^(int) {
    say("notified late");
  });
}

// Records of the kinds that a capture may meet, chosen by the api value.
os_state_data_s* makeRecord(std::uint32_t api) {
  if (api == 3) {
    return nullptr;
  }
  constexpr std::size_t header = sizeof(os_state_data_s);
  // The allocator may give up to 31 bytes more than it is asked for.
  auto* record = static_cast<os_state_data_s*>(std::calloc(1, api == 13 ? header - 40 : header));
  record->type = api == 10 ? 7 : OS_STATE_DATA_SERIALIZED_PROPERTY_LIST;
  if (api == 11 || api == 12) { // one byte more than there is, or as many as there are
    record->dataSize = static_cast<std::uint32_t>(malloc_usable_size(record) - header + (api == 11 ? 1 : 0));
  }
  return record;
}

[[maybe_unused]] void registerService(void* self, IOHIDServiceRef) {
  say("registerService");
  os_state_add_handler(of(self).queue, ^(os_state_hints_s* hints) {
    say("state handler");
    return makeRecord(hints->api);
  });
}

[[maybe_unused]] constexpr IOHIDSessionFilterPlugInInterface table = {
    ._reserved = nullptr,
    .QueryInterface = queryInterface,
    .AddRef = addRef,
#ifdef PLUG_IN_WITHOUT_RELEASE
    .Release = nullptr,
#else
    .Release = release,
#endif
    .slot4 = nullptr,
    .slot5 = nullptr,
    .slot6 = nullptr,
    .open = open,
    .close = close,
    .slot9 = nullptr,
    .slot10 = nullptr,
#ifdef PLUG_IN_WITH_GAPS
    .registerService = nullptr,
#else
    .registerService = registerService,
#endif
    .slot12 = nullptr,
    .scheduleWithDispatchQueue = schedule,
#ifdef PLUG_IN_WITH_GAPS
    .unscheduleFromDispatchQueue = nullptr,
#else
    .unscheduleFromDispatchQueue = unschedule,
#endif
    .slot15 = nullptr,
    .slot16 = nullptr,
    .slot17 = nullptr,
};

#ifdef PLUG_IN_WITH_POOR_INTERFACE
IOHIDSessionFilterPlugInInterface* poorInterface() {
  static IOHIDSessionFilterPlugInInterface poor = table;
  poor.Release = nullptr;
  return &poor;
}
#endif

} // namespace

extern "C" __attribute__((visibility("default"))) void* TestPlugInFactory(CFAllocatorRef, CFUUIDRef) {
  say("factory");
#ifdef PLUG_IN_WITHOUT_OBJECT
  return nullptr;
#else
#ifndef PLUG_IN_WITHOUT_RELEASE
  CFPlugInAddInstanceForFactory(factoryID());
#endif
  auto* plugIn = static_cast<PlugIn*>(std::malloc(sizeof(PlugIn)));
  *plugIn = {.table = &table, .count = 1, .queue = nullptr, .session = nullptr};
  return plugIn;
#endif
}
