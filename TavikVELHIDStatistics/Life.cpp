// The object's lifetime, from construction to the last Release, and its small members: interface queries, open, the
// queue, and properties of HID services.

#include "Assertion.h"
#include "Owned.h"
#include "TavikVELHIDStatistics.h"

#include <notify.h>

namespace {

CFUUIDRef factoryID() {
  return CFUUIDGetConstantUUIDWithBytes(kCFAllocatorSystemDefault, 0x75, 0xF0, 0x71, 0x27, 0xBB, 0x06, 0x49, 0x0A, 0xB1,
                                        0xB9, 0x81, 0xAE, 0x65, 0xDF, 0x06, 0x46);
}

} // namespace

TavikVELHIDStatistics* TavikVELHIDStatistics::alloc(CFAllocatorRef allocator) {
  return new (CFAllocatorAllocate(allocator, sizeof(TavikVELHIDStatistics), 0)) TavikVELHIDStatistics(allocator);
}

TavikVELHIDStatistics::TavikVELHIDStatistics(CFAllocatorRef allocator)
    : _vtbl(&vtbl), _allocator(allocator), _refCount(1), _rawDebugInstalled(false), _keys(), _queue() {
  CFPlugInAddInstanceForFactory(factoryID());
  _contexts = CFArrayCreateMutable(_allocator, 0, nullptr);
}

// Contexts, their array and the key strings are not freed: state handlers that outlive the object may still hold them.
// The log object belongs to the process, yet every object releases a reference to it.
TavikVELHIDStatistics::~TavikVELHIDStatistics() {
  CFPlugInRemoveInstanceForFactory(factoryID());
  os_release(pluginLog());
}

void TavikVELHIDStatistics::operator delete(TavikVELHIDStatistics* object, std::destroying_delete_t) {
  CFAllocatorRef allocator = object->_allocator;
  object->~TavikVELHIDStatistics();
  CFAllocatorDeallocate(allocator, object);
}

HRESULT TavikVELHIDStatistics::QueryInterface(REFIID iid, LPVOID* ppv) {
  const OwnedCF<CFUUIDRef> wanted(CFUUIDCreateFromUUIDBytes(nullptr, iid));
  if (!CFEqual(wanted.get(), kIOHIDSessionFilterInterfaceID) &&
      !CFEqual(wanted.get(), kIOHIDSessionFilterInterfaceID2) && !CFEqual(wanted.get(), IUnknownUUID)) {
    *ppv = nullptr;
    return E_NOINTERFACE;
  }
  AddRef();
  *ppv = this;
  return S_OK;
}

ULONG TavikVELHIDStatistics::AddRef() {
  return ++_refCount;
}

ULONG TavikVELHIDStatistics::Release() {
  ULONG count = --_refCount;
  if (count == 0) {
    delete this;
  }
  return count;
}

// Every open creates the key strings again; by design the earlier ones are overwritten without being released.
boolean_t TavikVELHIDStatistics::open(IOHIDSessionRef, IOOptionBits) {
  createPluginLog();
  for (TallyStoreKey key = 0; key < kVELTSRecKey_Count; ++key) {
    _keys[key] = CFStringCreateWithCString(kCFAllocatorDefault, kTallyStoreKeyNames[static_cast<size_t>(key)],
                                           kCFStringEncodingMacRoman);
  }
  return 1;
}

void TavikVELHIDStatistics::close(IOHIDSessionRef, IOOptionBits) {}

void TavikVELHIDStatistics::scheduleWithDispatchQueue(dispatch_queue_t queue) {
  _queue = queue;
  int token; // dropped: the registration lasts as long as the process
  notify_register_dispatch("com.tavik.tavikvelhidstatistics.fault", &token, queue, ^(int) {
    if (os_log_type_enabled(pluginLog(), OS_LOG_TYPE_FAULT)) {
      os_log_fault(pluginLog(), "fault!");
    }
  });
}

// Installed handlers stay installed, on the queue that they were installed with.
void TavikVELHIDStatistics::unscheduleFromDispatchQueue(dispatch_queue_t) {
  _queue = nullptr;
}

bool TavikVELHIDStatistics::IOHIDServiceSupportsTallyStore(IOHIDServiceRef service) {
  CFTypeRef value = IOHIDServiceGetProperty(service, CFSTR("KIPSupportsTallyStore"));
  return value != nullptr && CFGetTypeID(value) == CFBooleanGetTypeID() &&
         CFBooleanGetValue(static_cast<CFBooleanRef>(value));
}

uint64_t TavikVELHIDStatistics::getIOHIDServiceRegistryID(IOHIDServiceRef service) {
  CFTypeRef number = IOHIDServiceGetRegistryID(service);
  int64_t id = 0;
  if (number == nullptr || !CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberSInt64Type, &id)) {
    return 0;
  }
  return static_cast<uint64_t>(id);
}
