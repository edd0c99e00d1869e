// Fetches one batch of profile records and reports each as a line of text.
#include "RawDebugData.h"

#include "Assertion.h"
#include "Owned.h"
#include "ReplyLength.h"
#include "StateData.h"
#include "TavikVELHIDStatistics.h"
#include <profile/profile_description.h>

#include <cstdio>
#include <cstring>

namespace {

constexpr uint32_t kVELProperty_ProfileRecords = 209;
constexpr uint32_t kVELCommand_ErrorRecords = 8;
constexpr uint32_t kVELCommand_DriverRecords = 9;

constexpr const char* kKindNames[] = {nullptr, "fw", "kext", "err"};

} // namespace

// The index only tells the records of a snapshot apart: every handler of a kind makes the same request, and the
// driver decides what a repeated request returns.
os_state_data_s* TavikVELHIDStatistics::stateHandler_RawDebugData(os_state_hints_s*, Context*, uint32_t index,
                                                                  uint32_t recordCount, uint32_t kind) {
  const size_t capacity = recordCount * sizeof(_VelProfileReport);
  size_t length = capacity;
  void* buffer = __builtin_alloca(capacity);
  std::memset(buffer, 0, capacity);
  IOReturn kr;
  switch (kind) {
  case kVELProfileKind_Firmware:
    kr = getNamedServiceProperty("KIP_profile", kVELProperty_ProfileRecords, buffer, length, &length);
    break;
  case kVELProfileKind_Driver:
    kr = performNamedServiceCommand("TavikVELProfileDriver", kVELCommand_DriverRecords, nullptr, 0, buffer, &length);
    break;
  case kVELProfileKind_Error:
    kr = performNamedServiceCommand("TavikVELProfileDriver", kVELCommand_ErrorRecords, nullptr, 0, buffer, &length);
    break;
  default:
    return nullptr;
  }
  if (kr != 0) {
    logAssertion("kr == 0", "", 46, 0); // the channel has logged the result itself
    return nullptr;
  }
  const size_t count = replyLength(length, capacity) / sizeof(_VelProfileReport);
  if (count == 0) {
    return nullptr;
  }
  const OwnedCF<CFMutableArrayRef> array(CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
  if (!array) {
    logAssertion("array", "", 55, 0);
    return nullptr;
  }
  const auto* reports = static_cast<const _VelProfileReport*>(buffer); // packed: any address is valid
  for (size_t i = 0; i < count; ++i) {
    if (const OwnedCF<CFStringRef> description{CopyProfileDescription(&reports[i])}) {
      CFArrayAppendValue(array.get(), description.get());
    }
  }
  // Counts all records, including those without a line.
  char title[64];
  std::snprintf(title, sizeof title, "KIP Profile %u ;count=%lu ;type=%s", index, static_cast<unsigned long>(count),
                kKindNames[kind]);
  return copyStateData(array.get(), title);
}
