// Reads the asset table and reports each slot as a line of text.
#include "ZORBAssets.h"

#include "Assertion.h"
#include "Owned.h"
#include "ReplyLength.h"
#include "StateData.h"
#include "TavikVELHIDStatistics.h"

#include <cstdio>
#include <cstring>

namespace {

constexpr uint32_t kVELProperty_ZORBAssets = 216;

constexpr const char* kSpeedNames[kZORBSpeedCount] = {"Slow", "Medium", "Fast"};
constexpr const char* kEventNames[kZORBEventCount] = {
    "SingleDown",  "SingleUp",     "DoubleDown",  "DoubleUp",     "TripleDown",  "TripleUp",
    "SingleTapOn", "SingleTapOff", "DoubleTapOn", "DoubleTapOff", "TripleTapOn", "TripleTapOff",
    "DeepDown",    "DeepUp",       "LongPress",   "LongPressUp",
    nullptr, // the firmware's table has 17 slots for each speed, and all are reported
};

} // namespace

CFMutableDictionaryRef copyZORBAssets(const uint8_t* property, unsigned long propertyLength) {
  ZORBAsset assets[kZORBSpeedCount][kZORBEventCount];
  static_assert(sizeof assets == 1479);
  if (propertyLength < sizeof assets) {
    logAssertion("propertyLength >= sizeof(assets)", "", 29, 0);
    return nullptr;
  }
  std::memcpy(assets, property, sizeof assets);
  OwnedCF<CFMutableDictionaryRef> stateDict(createDictionary());
  if (!stateDict) {
    logAssertion("stateDict", "", 35, 0);
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
      if (const OwnedCF<CFStringRef> key{CFStringCreateWithCString(kCFAllocatorDefault, name, kCFStringEncodingUTF8)}) {
        dictSetCString(stateDict.get(), key.get(), value);
      }
    }
  }
  return stateDict.release();
}

os_state_data_s* TavikVELHIDStatistics::stateHandler_ZORBAssets(os_state_hints_s*, Context* context) {
  uint8_t buffer[4096] = {};
  size_t length = 0;
  IOReturn result = getProperty(context, kVELProperty_ZORBAssets, buffer, sizeof buffer, &length);
  if (result != 0) {
    logAssertion("result == 0 ", "", 61, static_cast<uint32_t>(result));
    return nullptr;
  }
  const OwnedCF<CFMutableDictionaryRef> zorbState(copyZORBAssets(buffer, replyLength(length, sizeof buffer)));
  if (!zorbState) {
    logAssertion("zorbState != __null", "", 66, 0);
    return nullptr;
  }
  return copyStateData(zorbState.get(), "ZORB assets");
}
