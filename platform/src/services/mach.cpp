// The process's port, and texts for the result codes of IOKit/IOTypes.h.
#include "announce.h"

#include <IOKit/IOTypes.h>
#include <mach/mach.h>
#include <mach/mach_error.h>

namespace {

struct ErrorText {
  kern_return_t code;
  const char* text;
};

constexpr ErrorText errorTexts[] = {
    {kIOReturnSuccess, "success"},
    {kIOReturnError, "general error"},
    {kIOReturnNoMemory, "memory allocation failed"},
    {kIOReturnNoResources, "resource shortage"},
    {kIOReturnNoDevice, "no such device"},
    {kIOReturnNotPrivileged, "privilege violation"},
    {kIOReturnBadArgument, "invalid argument"},
    {kIOReturnExclusiveAccess, "device already open for exclusive access"},
    {kIOReturnUnsupported, "unsupported function"},
    {kIOReturnIOError, "input or output failed"},
    {kIOReturnNotOpen, "device not open"},
    {kIOReturnBusy, "device busy"},
    {kIOReturnTimeout, "timed out"},
    {kIOReturnNotReady, "not ready"},
    {kIOReturnNotPermitted, "not permitted"},
    {kIOReturnUnderrun, "data underrun"},
    {kIOReturnNotFound, "not found"},
};

} // namespace

extern "C" mach_port_t mach_task_self(void) {
  vel::platform::note("mach_task_self");
  return 0x103; // any number that no registry handle has
}

extern "C" const char* mach_error_string(mach_error_t code) {
  if (vel::platform::announce("mach_error_string", static_cast<std::uint32_t>(code))) {
    return nullptr;
  }
  for (const auto& row : errorTexts) {
    if (row.code == code) {
      return row.text;
    }
  }
  return nullptr;
}
