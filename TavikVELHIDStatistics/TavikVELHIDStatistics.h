// The plug-in object: attaches to the HID services of the VEL co-processor, answers state captures and publishes
// analytics. It never filters events.
//
// Nothing here is locked: the event system calls the entry points one at a time, and every handler, callback and
// notification runs on the one queue given to scheduleWithDispatchQueue. [plugin queue] below means that queue.
#pragma once

#include "AnalyticsKeys.h"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/hid/IOHIDDevice.h>
#include <IOKit/hid/IOHIDSessionFilterPlugIn.h>
#include <VEL/VELUserClient.h>
#include <dispatch/dispatch.h>
#include <os/state.h>

#include <cstddef>
#include <cstdint>
#include <new>

struct TSRec;

// The plug-in's record of one accepted HID service. Owned by the plug-in object and never freed once appended: the
// state handlers hold it, and no service is ever unregistered.
struct Context {
  struct {
    io_service_t _service;           // the HID service's own registry entry
    VELDriverInterface** _interface; // null when the driver gave none
  } _driver;
  struct {
    IOHIDDeviceRef _hid;             // only set for buttons
    io_service_t _service;           // the VEL device: the grandparent of _driver._service
    VELDeviceInterface** _interface; // null when the device gave none
  } _device;
};

class TavikVELHIDStatistics {
public:
  // A new object with a count of 1, in memory of `allocator`; its last Release frees it there. Failed allocations of
  // the object, of the array of contexts and of the identifier that QueryInterface compares are not handled.
  static TavikVELHIDStatistics* alloc(CFAllocatorRef allocator);

  explicit TavikVELHIDStatistics(CFAllocatorRef allocator);
  ~TavikVELHIDStatistics();
  TavikVELHIDStatistics(const TavikVELHIDStatistics&) = delete;
  TavikVELHIDStatistics& operator=(const TavikVELHIDStatistics&) = delete;
  // Also destroys the object, since its allocator must be read first.
  static void operator delete(TavikVELHIDStatistics* object, std::destroying_delete_t);

  // The entry points of the interface table. [event system]
  HRESULT QueryInterface(REFIID iid, LPVOID* ppv);
  ULONG AddRef();
  ULONG Release(); // destroys the object at 0
  boolean_t open(IOHIDSessionRef session, IOOptionBits options);
  void close(IOHIDSessionRef session, IOOptionBits options);
  void scheduleWithDispatchQueue(dispatch_queue_t queue);
  void unscheduleFromDispatchQueue(dispatch_queue_t queue);
  // Keeps a Context for a button or sensor of the VEL co-processor and installs its state handlers; ignores every
  // other service. Call it after open and scheduleWithDispatchQueue.
  void registerService(IOHIDServiceRef service);

  // Properties of a HID service. [event system]
  static bool IOHIDServiceSupportsTallyStore(IOHIDServiceRef service);
  static uint64_t getIOHIDServiceRegistryID(IOHIDServiceRef service); // 0: none

  // The driver channel: moves bytes, keeps no state. Lengths are what the driver reports, and may exceed the buffer's
  // capacity. On failure, buffers and lengths are as the callee left them. [plugin queue]

  // Reads a property through the context's driver; `length` may be null. kIOReturnNotReady without an interface.
  IOReturn getProperty(Context* context, uint32_t property, void* buffer, size_t size, size_t* length);
  // Reads a 32-bit property; stores `defaultValue` if the read fails, or if it returns another length, which is not a
  // failure.
  IOReturn getPropertyU32(Context* context, uint32_t property, uint32_t* value, uint32_t defaultValue);
  // Sends a command to the context's driver, whose interface must not be null. `outputSize`: capacity in, bytes out.
  IOReturn performCommand(Context* context, uint32_t command, void* input, size_t inputSize, void* output,
                          size_t* outputSize);
  // Reads a property of the driver service with this name; `length` must not be null. Any failure is kIOReturnError.
  IOReturn getNamedServiceProperty(const char* serviceName, uint32_t property, void* buffer, size_t size,
                                   size_t* length);
  // Sends a command to the driver service with this name; returns the code of the call that failed, or kIOReturnError
  // if there is no such service.
  IOReturn performNamedServiceCommand(const char* serviceName, uint32_t command, void* input, size_t inputSize,
                                      void* output, size_t* outputSize);

  // The state handlers: a new record, or null. [plugin queue] [create: the caller frees the record]
  os_state_data_s* stateHandler_ZORBStats(os_state_hints_s* hints, Context* context);
  os_state_data_s* stateHandler_ZORBAssets(os_state_hints_s* hints, Context* context);
  os_state_data_s* stateHandler_SensorInfo(os_state_hints_s* hints, Context* context);
  // Requests up to `recordCount` profile records of a VELProfileKind; `index` goes into the title. The context is not
  // used.
  os_state_data_s* stateHandler_RawDebugData(os_state_hints_s* hints, Context* context, uint32_t index,
                                             uint32_t recordCount, uint32_t kind);

  // Publishes a batch of `count` entries (not bytes) to TallyStore, in order. The first form is the device's callback,
  // with the object as refcon. Call it after open. [plugin queue]
  static void publishTSData(void* refcon, void* data, size_t count);
  void publishTSData(TSRec* records, unsigned long count);
  // The name of a metric, or the name for unknown ones. [get: borrowed]
  CFStringRef keyForIndex(TallyStoreKey key);

  const IOHIDSessionFilterPlugInInterface* _vtbl; // first: the event system calls through it
  CFAllocatorRef _allocator;
  uint32_t _refCount;
  bool _rawDebugInstalled;               // the raw debug handlers exist once per object
  CFMutableArrayRef _contexts;           // raw Context pointers
  CFStringRef _keys[kVELTSRecKey_Count]; // filled by open
  dispatch_queue_t _queue;

  // The static table that every object points to.
  static const IOHIDSessionFilterPlugInInterface vtbl;

private:
  using StateHandler = os_state_data_s* (TavikVELHIDStatistics::*)(os_state_hints_s*, Context*);
  // Installs a handler that only answers requests.
  void addStateHandler(StateHandler handler, Context* context);
  // Installs the handlers of one VELProfileKind, with indices from 0.
  void addRawDebugHandlers(uint32_t kind, uint32_t count);
};
