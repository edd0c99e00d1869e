// Reads the statistics record and reports it as nested dictionaries.
#include "ZORBStatistics.h"

#include "Assertion.h"
#include "Owned.h"
#include "StateData.h"
#include "TavikVELHIDStatistics.h"

#include <cstdio>

namespace {

constexpr uint32_t kVELProperty_ZORBLatencyStats = 215;

void addClick(CFMutableDictionaryRef press, const _ZORBLatencyStatsV2& stats, unsigned click) {
  using Stats = _ZORBLatencyStatsV2;
  const OwnedCF<CFMutableDictionaryRef> state(createDictionary());
  if (!state) {
    return;
  }
  // Both edges write "play asset ts": the report keeps the up edge's time, and the down edge's is lost.
  dictSetSInt64(state.get(), CFSTR("button down to play asset"), stats.buttonToPlayAsset[click][Stats::down]);
  dictSetSInt64(state.get(), CFSTR("button down ts"), stats.buttonTs[click][Stats::down]);
  dictSetSInt64(state.get(), CFSTR("play asset ts"), stats.playAssetTs[click][Stats::down]);
  dictSetSInt64(state.get(), CFSTR("button up to play asset"), stats.buttonToPlayAsset[click][Stats::up]);
  dictSetSInt64(state.get(), CFSTR("button up ts"), stats.buttonTs[click][Stats::up]);
  dictSetSInt64(state.get(), CFSTR("play asset ts"), stats.playAssetTs[click][Stats::up]);

  char name[32];
  std::snprintf(name, sizeof name, "click %u", click + 1);
  if (const OwnedCF<CFStringRef> key{CFStringCreateWithCString(kCFAllocatorDefault, name, kCFStringEncodingUTF8)}) {
    CFDictionarySetValue(press, key.get(), state.get());
  }
}

void addLastButtonPress(CFMutableDictionaryRef state, const _ZORBLatencyStatsV2& stats) {
  const OwnedCF<CFMutableDictionaryRef> press(createDictionary());
  if (!press) {
    return;
  }
  dictSetSInt32(press.get(), CFSTR("click count"), stats.clickCountWord >> 1);
  dictSetSInt64(press.get(), CFSTR("finger on ts"), stats.fingerOnTs);
  dictSetSInt64(press.get(), CFSTR("start haptic ts"), stats.startHapticTs);
  dictSetSInt64(press.get(), CFSTR("finger detect to button down"), stats.fingerDetectToButtonDown);
  for (unsigned click = 0; click < 3; ++click) {
    addClick(press.get(), stats, click);
  }
  dictSetSInt64(press.get(), CFSTR("second scan ts"), stats.secondScanTs);
  dictSetSInt32(press.get(), CFSTR("turtle scans"), stats.turtleScans);
  dictSetSInt64(press.get(), CFSTR("finger off ts"), stats.fingerOffTs);
  CFDictionarySetValue(state, CFSTR("last button press"), press.get());
}

void addLatency(CFMutableDictionaryRef state, const _ZORBLatencyStatsV2& stats) {
  const OwnedCF<CFMutableDictionaryRef> latency(createDictionary());
  if (!latency) {
    return;
  }
  dictSetSInt64(latency.get(), CFSTR("min_nz_latency_FD_to_BD"), stats.minNonZeroFDToBD);
  dictSetSInt64(latency.get(), CFSTR("max_latency_FD_to_BD"), stats.maxFDToBD);
  dictSetSInt64(latency.get(), CFSTR("min_nz_latency_BC_to_PlayAsset"), stats.minNonZeroBCToPlayAsset);
  dictSetSInt64(latency.get(), CFSTR("max_latency_BC_to_PlayAsset"), stats.maxBCToPlayAsset);
  dictSetSInt64(latency.get(), CFSTR("min_latency_Total"), stats.minTotal);
  dictSetSInt64(latency.get(), CFSTR("max_latency_Total"), stats.maxTotal);
  CFDictionarySetValue(state, CFSTR("latency"), latency.get());
}

} // namespace

CFMutableDictionaryRef copyZORBStatistics(const _ZORBLatencyStatsV2* stats) {
  OwnedCF<CFMutableDictionaryRef> state(createDictionary());
  if (!state) {
    logAssertion("state", "", 75, 0);
    return nullptr;
  }
  addLastButtonPress(state.get(), *stats);
  addLatency(state.get(), *stats);
  return state.release();
}

// The returned length is ignored: the record is taken as a whole, with zeros where the driver wrote nothing.
os_state_data_s* TavikVELHIDStatistics::stateHandler_ZORBStats(os_state_hints_s*, Context* context) {
  _ZORBLatencyStatsV2 stats = {};
  size_t length = 0;
  IOReturn result = getProperty(context, kVELProperty_ZORBLatencyStats, &stats, sizeof stats, &length);
  if (result != 0) {
    logAssertion("result == 0 ", "", 89, static_cast<uint32_t>(result));
    return nullptr;
  }
  const OwnedCF<CFMutableDictionaryRef> zorbState(copyZORBStatistics(&stats));
  if (!zorbState) {
    logAssertion("zorbState != __null", "", 94, 0);
    return nullptr;
  }
  return copyStateData(zorbState.get(), "ZORB Statistics");
}
