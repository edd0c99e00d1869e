// Reads the asset table and reports each slot as a line of text.
#include "ZORBAssets.h"

#include "Assertion.h"
#include "StateData.h"
#include "TavikVELHIDStatistics.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace {

constexpr uint32_t kVELProperty_ZORBAssets = 216;

constexpr const char* kSpeedNames[kZORBSpeedCount] = {"Slow", "Medium", "Fast"};
constexpr const char* kEventNames[kZORBEventCount] = {
    "SingleDown",  "SingleUp",     "DoubleDown",  "DoubleUp",     "TripleDown",  "TripleUp",
    "SingleTapOn", "SingleTapOff", "DoubleTapOn", "DoubleTapOff", "TripleTapOn", "TripleTapOff",
    "DeepDown",    "DeepUp",       "LongPress",   "LongPressUp",
    nullptr, // the firmware's table has 17 slots a speed, and all are reported
};

} // namespace

CFMutableDictionaryRef copyZORBAssets(const uint8_t* property, unsigned long propertyLength) {
  ZORBAsset assets[kZORBSpeedCount][kZORBEventCount];
  static_assert(sizeof assets == 1479);
  if (propertyLength < sizeof assets) {
    logAssertion("propertyLength >= sizeof(assets)", "", __LINE__, 0);
    return nullptr;
  }
  std::memcpy(assets, property, sizeof assets);
  CFMutableDictionaryRef stateDict = createDictionary();
  if (stateDict == nullptr) {
    logAssertion("stateDict", "", __LINE__, 0);
    return nullptr;
  }
  for (size_t speed = 0; speed < kZORBSpeedCount; ++speed) {
    for (size_t event = 0; event < kZORBEventCount; ++event) {
      const ZORBAsset& asset = assets[speed][event];
      char name[64];
      std::snprintf(name, sizeof name, "%s-%s", kSpeedNames[speed],
                    kEventNames[event] != nullptr ? kEventNames[event] : "(null)");
      char value[128];
      std::snprintf(value, sizeof value, "enable=%d slot=%d gain=%f min=%lld max=%lld", asset.enable, asset.slot,
                    asset.gain * 0x1p-16, static_cast<long long>(asset.min), static_cast<long long>(asset.max));
      if (CFStringRef key = CFStringCreateWithCString(kCFAllocatorDefault, name, kCFStringEncodingUTF8)) {
        dictSetCString(stateDict, key, value);
        CFRelease(key);
      }
    }
  }
  return stateDict;
}

os_state_data_s* TavikVELHIDStatistics::stateHandler_ZORBAssets(os_state_hints_s*, Context* context) {
  uint8_t buffer[4096] = {};
  size_t length = 0;
  IOReturn result = getProperty(context, kVELProperty_ZORBAssets, buffer, sizeof buffer, &length);
  if (result != 0) {
    logAssertion("result == 0 ", "", __LINE__, static_cast<uint32_t>(result));
    return nullptr;
  }
  CFMutableDictionaryRef zorbState = copyZORBAssets(buffer, std::min(length, sizeof buffer));
  if (zorbState == nullptr) {
    logAssertion("zorbState != __null", "", __LINE__, 0);
    return nullptr;
  }
  os_state_data_s* record = copyStateData(zorbState, "ZORB assets");
  CFRelease(zorbState);
  return record;
}
