// What a plug-in calls on the platform: recorded, and made to fail on purpose.
//
// Every platform function that can fail or whose order matters announces itself here under its own name, before it
// does anything. Calls that the platform makes to itself are not announced. [any thread]
//
// A recorded call is the function's name and the arguments that identify the call: texts and CF strings unchanged
// (null: "(null)"), usages, selectors and options in hexadecimal with 0x (0 as "0"), other numbers in decimal. Objects,
// handles, buffers, blocks and queues are left out. For example:
//
//   IOHIDServiceCopyProperty(Transport)       IOServiceMatching(TavikVELTimesync)
//   IOHIDServiceConformsTo(0xff00, 0x3)       IORegistryEntryGetParentEntry(IOService)
//   IORegistryEntryIDMatching(4294967297)     IOServiceGetMatchingService(IONameMatch=KIP_profile)
//   IOServiceOpen(0)                          IOConnectCallMethod(0x2)
//   IOObjectRelease()                         IOCreatePlugInInterfaceForService(3BC5CC87-845E-48AB-A9C2-9436001BA68A)
//   os_log_create(KIP, Statistics)            os_state_add_handler()
//   notify_register_dispatch(com.name)        TSClientAddValueForScalarKey(com.key)
// A recording of everything is one list of calls, log lines and the lines that the host adds. It also holds what is
// otherwise not announced, because it cannot fail: CFRelease with the object's type, requests for constant identifiers,
// and each log line that was written. Calls show more arguments, in their positions: the allocator ("default" for null,
// "system", or "other"), the registry entry by its name ("none" for no entry), the task port, the sizes of a method's
// inputs and output, and the value of a number that is read. For example:
//
//   CFRelease(CFString)                       IOHIDDeviceCreate(default, device)
//   os_log(default, the whole message)        IOServiceOpen(device, 0x103, 0)
//   CFNumberGetValue(17, 4)                   IOConnectCallMethod(0x2, 1, 0, 1536)
//   CFUUIDGetConstantUUIDWithBytes(system, 3BC5CC87-845E-48AB-A9C2-9436001BA68A)
//
// Never announced: os_log_type_enabled (it can be called at any time and in any number).
// Announced, but unable to fail: CFAllocatorDeallocate, CFArrayAppendValue, CFPlugInAddInstanceForFactory,
// CFPlugInRemoveInstanceForFactory, os_release, dispatch_once, mach_task_self and the TSClient functions.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vel::control {

enum class Recording { calls, everything };

// Starts to record every call as "name(arguments)"; drops what was recorded before.
void startRecording(Recording what = Recording::calls);
// The calls since startRecording, oldest first; recording ends.
std::vector<std::string> stopRecording();
// Adds a line of the host's own to a recording of everything, such as a request to a user client.
void addToRecording(std::string line);

enum class Failing { once, onwards };

// Makes the nth call (from 1, counted from now) of the function named `function` fail, once or from then on, the way
// that function fails: with `code` if it returns one, else with null, 0 or false (sysctl: -1, with errno EIO). A call
// that is made to fail has no effect, except that IOServiceGetMatchingService still consumes its dictionary.
// Several plans may be set. Each counts all calls of its function, including those that another plan makes fail. If
// several are due at once, the one that was set first gives the code.
void failCall(std::string_view function, std::uint64_t nth, Failing how = Failing::once, std::int32_t code = -1);
// The same for the nth of all calls to functions that can fail.
void failAnyCall(std::uint64_t nth, Failing how = Failing::once, std::int32_t code = -1);
// Forgets all failure plans. Returns whether any of them has made a call fail.
bool clearFailures();

} // namespace vel::control
