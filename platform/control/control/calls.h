// What a plug-in calls on the platform: recorded, and made to fail on purpose.
//
// Every platform function that can fail or whose order matters announces itself here under its own name, before it
// does anything. Calls that the platform makes to itself are not announced. [any thread]
//
// A recorded call is the function's name and its telling arguments: texts and CF strings unchanged (null:
// "(null)"), usages, selectors and options in hexadecimal with 0x (0 as "0"), other numbers in decimal. Objects,
// handles, buffers, blocks and queues are left out. For example:
//
//   IOHIDServiceCopyProperty(Transport)       IOServiceMatching(TavikVELTimesync)
//   IOHIDServiceConformsTo(0xff00, 0x3)       IORegistryEntryGetParentEntry(IOService)
//   IORegistryEntryIDMatching(4294967297)     IOServiceGetMatchingService(IONameMatch=KIP_profile)
//   IOServiceOpen(0)                          IOConnectCallMethod(0x2)
//   IOObjectRelease()                         IOCreatePlugInInterfaceForService(3BC5CC87-845E-48AB-A9C2-9436001BA68A)
//   os_log_create(KIP, Statistics)            os_state_add_handler()
//   notify_register_dispatch(com.name)        TSClientAddValueForScalarKey(com.key)
//
// Never announced: os_log_type_enabled and os_log_with_type (they can be called at any time and in any number).
// Announced, but unable to fail: CFAllocatorDeallocate, CFArrayAppendValue, CFPlugInAddInstanceForFactory,
// CFPlugInRemoveInstanceForFactory, os_release, dispatch_once, mach_task_self and the TSClient functions.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vel::control {

// From now on remembers every call as "name(arguments)"; what was remembered before is dropped.
void startRecording();
// The calls since startRecording, oldest first; recording ends.
std::vector<std::string> stopRecording();

enum class Failing { once, onwards };

// Makes the nth call (from 1, counted from now) of the function named `function` fail, once or from then on, the way
// that function fails: with `code` if it returns one, else with null, 0 or false (sysctl: -1, with errno EIO). A call
// that is made to fail has no effect, except that IOServiceGetMatchingService still consumes its dictionary.
// Plans add up; each counts its own calls, also those that another plan makes fail. The earliest plan gives the code.
void failCall(std::string_view function, std::uint64_t nth, Failing how = Failing::once, std::int32_t code = -1);
// The same for the nth call of all functions together that can fail.
void failAnyCall(std::uint64_t nth, Failing how = Failing::once, std::int32_t code = -1);
// Forgets all failure plans. Returns whether any of them has made a call fail.
bool clearFailures();

} // namespace vel::control
