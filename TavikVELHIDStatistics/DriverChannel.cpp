// The driver channel: every read from the co-processor passes through one of these five.

#include "Assertion.h"
#include "Owned.h"
#include "TavikVELHIDStatistics.h"

#include <IOKit/IOKitLib.h>
#include <mach/mach_error.h>

namespace {

constexpr uint32_t kVELDriverCommand_GetProperty = 10;
constexpr uint32_t kNamedServiceSelector_GetProperty = 2;

// A driver service found by name, or none. By design, each request opens its own connection and closes it again:
// captures are rare, and there is no shared connection to maintain. The connection is declared after the service, so
// that it is closed before the service is released.
OwnedIOObject findService(const char* name) {
  return OwnedIOObject(IOServiceGetMatchingService(kIOMasterPortDefault, IOServiceNameMatching(name)));
}

IOReturn openService(const OwnedIOObject& service, OwnedConnection& connection) {
  return IOServiceOpen(service.get(), mach_task_self(), 0, connection.out());
}

// Includes the system's text for the code, since a named service may fail in many ways.
void logNamedServiceResult(int line, IOReturn kr) {
  logAssertion("kr == 0 ", mach_error_string(kr), line, static_cast<uint32_t>(kr));
}

} // namespace

// A failing read is not logged here: a driver need not have every property, and reports that depend on one log it
// themselves.
IOReturn TavikVELHIDStatistics::getProperty(Context* context, uint32_t property, void* buffer, size_t size,
                                            size_t* length) {
  VELDriverInterface** driver = context->_driver._interface;
  if (driver == nullptr) {
    logAssertion("context->_driver._interface", "", 1143, 0);
    return kIOReturnNotReady;
  }
  size_t capacity = size;
  IOReturn result =
      (*driver)->command(driver, kVELDriverCommand_GetProperty, &property, sizeof property, buffer, &capacity);
  if (length != nullptr && result == 0) {
    *length = capacity;
  }
  return result;
}

IOReturn TavikVELHIDStatistics::getPropertyU32(Context* context, uint32_t property, uint32_t* value,
                                               uint32_t defaultValue) {
  size_t size = 0;
  IOReturn result = getProperty(context, property, value, sizeof(uint32_t), &size);
  if (result == 0 && size == sizeof(uint32_t)) {
    return result;
  }
  if (result == 0) {
    logAssertion("size == sizeof(uint32_t)", "", 1165, 0);
  }
  *value = defaultValue;
  return result;
}

// The interface is not tested here: callers check it before they send a command. Unlike a property read, a command is
// expected to succeed, so a failure is logged.
IOReturn TavikVELHIDStatistics::performCommand(Context* context, uint32_t command, void* input, size_t inputSize,
                                               void* output, size_t* outputSize) {
  VELDriverInterface** driver = context->_driver._interface;
  IOReturn result = (*driver)->command(driver, command, input, inputSize, output, outputSize);
  if (result != 0) {
    logAssertion("result == 0 ", "", 1130, static_cast<uint32_t>(result));
  }
  return result;
}

// Callers want to know that a property could not be read, not why: every failure becomes one code.
IOReturn TavikVELHIDStatistics::getNamedServiceProperty(const char* serviceName, uint32_t property, void* buffer,
                                                        size_t size, size_t* length) {
  const OwnedIOObject service = findService(serviceName);
  if (!service) {
    logAssertion("service", "", 1207, 0);
    return kIOReturnError;
  }
  OwnedConnection connection;
  if (IOReturn kr = openService(service, connection); kr != 0) {
    logNamedServiceResult(1210, kr);
    return kIOReturnError;
  }
  const uint64_t property64 = property;
  size_t capacity = size;
  IOReturn kr = IOConnectCallMethod(connection.get(), kNamedServiceSelector_GetProperty, &property64, 1, nullptr, 0,
                                    nullptr, nullptr, buffer, &capacity);
  if (kr != 0) {
    logNamedServiceResult(1214, kr);
    return kIOReturnError;
  }
  *length = capacity;
  return kIOReturnSuccess;
}

// Unlike a property read, a command returns the code of the call that failed, so that the caller knows what happened.
IOReturn TavikVELHIDStatistics::performNamedServiceCommand(const char* serviceName, uint32_t command, void* input,
                                                           size_t inputSize, void* output, size_t* outputSize) {
  const OwnedIOObject service = findService(serviceName);
  if (!service) {
    logAssertion("service", "", 1181, 0);
    return kIOReturnError;
  }
  OwnedConnection connection;
  if (IOReturn kr = openService(service, connection); kr != 0) {
    logNamedServiceResult(1184, kr);
    return kr;
  }
  IOReturn kr = IOConnectCallMethod(connection.get(), command, nullptr, 0, input, inputSize, nullptr, nullptr, output,
                                    outputSize);
  if (kr != 0) {
    logNamedServiceResult(1188, kr);
  }
  return kr;
}
