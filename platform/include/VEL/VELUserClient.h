// The co-processor's user-client plug-ins: the interfaces of a HID service's driver and of the VEL device above it.
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

// An interface comes from QueryInterface of the plug-in in front of a registry entry, and carries a reference for
// the caller. The plug-in that registers the service opens it; commands and batches then belong to one queue.

// The driver's table; entries that are never called here are slots.
typedef struct VELDriverInterface {
  IUNKNOWN_C_GUTS;
  void* slot4;
  void* slot5;
  void* slot6;
  void* slot7;
  // Entry 8: the driver takes commands from now on; options are 0. [event system]
  IOReturn (*open)(void* self, uint32_t options);
  void* slot9;
  // Entry 10: one command. Input and output stay the caller's and are not used after the return. `outputSize` is the
  // capacity on entry and the bytes written on return; a driver may report more than the capacity. [plugin queue]
  IOReturn (*command)(void* self, uint32_t command, const void* input, size_t inputSize, void* output,
                      size_t* outputSize);
} VELDriverInterface;

// A batch of `count` analytics entries (not bytes) at `data`, which belongs to the device and is valid until the
// callback returns. [plugin queue: the one given by setDispatchQueue]
typedef void (*VELDataCallback)(void* refcon, void* data, size_t count);

// The device's table.
typedef struct VELDeviceInterface {
  IUNKNOWN_C_GUTS;
  void* slot4;
  void* slot5;
  void* slot6;
  void* slot7;
  // Entry 8: as the driver's. [event system]
  IOReturn (*open)(void* self, uint32_t options);
  void* slot9;
  void* slot10;
  void* slot11;
  void* slot12;
  void* slot13;
  void* slot14;
  void* slot15;
  void* slot16;
  // Entry 17: sets the callback for batches. `refcon` is passed to the callback unchanged; the device neither
  // retains nor releases it, so it must live for as long as batches come. [event system]
  void (*setDataCallback)(void* self, VELDataCallback callback, void* refcon);
  // Entry 18: where the callback runs; comes before setDataCallback. The queue still belongs to its creator. [event
  // system]
  void (*setDispatchQueue)(void* self, dispatch_queue_t queue);
} VELDeviceInterface;
