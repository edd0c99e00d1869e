// The co-processor's user-client plug-ins: what the driver of a HID service and the VEL device above it answer to.
#pragma once

#include <CoreFoundation/CFPlugInCOM.h>
#include <IOKit/IOTypes.h>
#include <dispatch/dispatch.h>
#include <stddef.h>

#define kVELDriverUserClientTypeID                                                                                     \
  CFUUIDGetConstantUUIDWithBytes(kCFAllocatorSystemDefault, 0x3B, 0xC5, 0xCC, 0x87, 0x84, 0x5E, 0x48, 0xAB, 0xA9,      \
                                 0xC2, 0x94, 0x36, 0x00, 0x1B, 0xA6, 0x8A)
#define kVELDriverInterfaceID                                                                                          \
  CFUUIDGetConstantUUIDWithBytes(kCFAllocatorSystemDefault, 0x59, 0x79, 0x99, 0x3C, 0x85, 0xF5, 0x4D, 0x59, 0x85,      \
                                 0x93, 0xFF, 0x92, 0x15, 0xDA, 0x47, 0xAD)
#define kVELDeviceUserClientTypeID                                                                                     \
  CFUUIDGetConstantUUIDWithBytes(kCFAllocatorSystemDefault, 0x7A, 0xCF, 0x53, 0x32, 0x1A, 0x35, 0x48, 0x93, 0x87,      \
                                 0xCB, 0xBA, 0x64, 0xE1, 0x88, 0x7F, 0xAE)
#define kVELDeviceInterfaceID                                                                                          \
  CFUUIDGetConstantUUIDWithBytes(kCFAllocatorSystemDefault, 0x01, 0x64, 0x69, 0xD8, 0x77, 0x3B, 0x46, 0xAC, 0x90,      \
                                 0x9E, 0xF9, 0x0C, 0x4A, 0x6E, 0x75, 0x77)

// The driver's table; entries that nobody here calls are slots.
typedef struct VELDriverInterface {
  IUNKNOWN_C_GUTS;
  void* slot4;
  void* slot5;
  void* slot6;
  void* slot7;
  IOReturn (*open)(void* self, uint32_t options); // entry 8
  void* slot9;
  // Entry 10: one command. `outputSize` is the capacity on entry and the bytes written on return; a driver may report
  // more than the capacity.
  IOReturn (*command)(void* self, uint32_t command, const void* input, size_t inputSize, void* output,
                      size_t* outputSize);
} VELDriverInterface;

// A batch of `count` analytics entries (not bytes) at `data`, on the queue given by setDispatchQueue.
typedef void (*VELDataCallback)(void* refcon, void* data, size_t count);

// The device's table.
typedef struct VELDeviceInterface {
  IUNKNOWN_C_GUTS;
  void* slot4;
  void* slot5;
  void* slot6;
  void* slot7;
  IOReturn (*open)(void* self, uint32_t options); // entry 8
  void* slot9;
  void* slot10;
  void* slot11;
  void* slot12;
  void* slot13;
  void* slot14;
  void* slot15;
  void* slot16;
  void (*setDataCallback)(void* self, VELDataCallback callback, void* refcon); // entry 17
  void (*setDispatchQueue)(void* self, dispatch_queue_t queue);                // entry 18
} VELDeviceInterface;
