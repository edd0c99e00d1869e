// The HID event system's session-filter plug-in: its type, its two interfaces and their table.
#pragma once

#include <CoreFoundation/CFPlugInCOM.h>
#include <IOKit/hid/IOHIDService.h>
#include <dispatch/dispatch.h>

#define kIOHIDSessionFilterPlugInTypeID                                                                                \
  CFUUIDGetConstantUUIDWithBytes(kCFAllocatorSystemDefault, 0x7F, 0x1A, 0x3A, 0xE6, 0x3E, 0x3D, 0x47, 0x0A, 0xBD,      \
                                 0x15, 0xA2, 0xDD, 0x7E, 0x1B, 0xB7, 0x19)
#define kIOHIDSessionFilterInterfaceID                                                                                 \
  CFUUIDGetConstantUUIDWithBytes(kCFAllocatorSystemDefault, 0x19, 0xD7, 0x74, 0x41, 0xBB, 0xC4, 0x45, 0x11, 0x91,      \
                                 0x49, 0x60, 0x57, 0x2A, 0x0B, 0x01, 0x5C)
#define kIOHIDSessionFilterInterfaceID2                                                                                \
  CFUUIDGetConstantUUIDWithBytes(kCFAllocatorSystemDefault, 0x3D, 0xC3, 0x5A, 0xA6, 0xD3, 0x5C, 0x44, 0x5B, 0x9A,      \
                                 0x59, 0xCA, 0x03, 0xDA, 0x40, 0x8B, 0x97)

// The 18 entries, whose positions are fixed. The event system skips a slot that is null. It calls them one at a time,
// on its own thread or on the queue that it gave [event system]. Session, service and queue belong to it [borrowed: for
// the call]; only the queue may be kept, until the last Release.
typedef struct IOHIDSessionFilterPlugInInterface {
  IUNKNOWN_C_GUTS;
  void* slot4;
  void* slot5;
  void* slot6;
  // The plug-in's session begins; false refuses it.
  boolean_t (*open)(void* self, IOHIDSessionRef session, IOOptionBits options);
  // The session ends; the last reference is dropped after it.
  void (*close)(void* self, IOHIDSessionRef session, IOOptionBits options);
  void* slot9;
  void* slot10;
  // Called once for every service of the session.
  void (*registerService)(void* self, IOHIDServiceRef service);
  void* slot12;
  // The queue on which the plug-in's handlers run; called before the first registerService.
  void (*scheduleWithDispatchQueue)(void* self, dispatch_queue_t queue);
  // What the plug-in has registered on the queue stays until the event system drops it.
  void (*unscheduleFromDispatchQueue)(void* self, dispatch_queue_t queue);
  void* slot15;
  void* slot16;
  void* slot17;
} IOHIDSessionFilterPlugInInterface;
