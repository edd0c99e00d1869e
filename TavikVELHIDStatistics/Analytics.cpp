// Publishes analytics entries to TallyStore, one call for each entry.
#include "Analytics.h"

#include "Assertion.h"
#include "TavikVELHIDStatistics.h"

#include <TallyStore/TallyStore.h>

namespace {

// Scaled in single precision, unlike all other fractions, and only then converted to double: values of more than 24
// bits lose their low bits.
double sample(const TSRec& entry) {
  return static_cast<float>(entry.value) * 0x1p-16F;
}

void perform(const TSRec& entry, CFStringRef key) {
  switch (entry.op) {
  case TSOpNone:
    return;
  case TSOpClearScalar:
    return TSClientClearScalarKey(key);
  case TSOpSetScalar:
    return TSClientSetValueForScalarKey(key, entry.value);
  case TSOpAddScalar:
    return TSClientAddValueForScalarKey(key, entry.value);
  case TSOpClearDistribution:
    return TSClientClearDistributionKey(key);
  case TSOpSetDistribution:
    return TSClientSetValueForDistributionKey(key, sample(entry));
  default:
    for (int pushes = entry.op - TSOpSetDistribution; pushes > 0; --pushes) {
      TSClientPushValueForDistributionKey(key, sample(entry));
    }
  }
}

} // namespace

CFStringRef TavikVELHIDStatistics::keyForIndex(TallyStoreKey key) {
  if (key < kVELTSRecKey_Count) { // never negative: an entry's key is an unsigned byte
    return _keys[key];
  }
  logAssertion("key < kVELTSRecKey_Count", "", 43, 0);
  return CFSTR("com.tavik.kip.unknown");
}

void TavikVELHIDStatistics::publishTSData(void* refcon, void* data, size_t count) {
  static_cast<TavikVELHIDStatistics*>(refcon)->publishTSData(static_cast<TSRec*>(data), count);
}

void TavikVELHIDStatistics::publishTSData(TSRec* records, unsigned long count) {
  for (unsigned long i = 0; i < count; ++i) {
    const TSRec& entry = records[i];
    if (entry.version != kTSRecVersion) {
      os_log_error(pluginLog(), "%s veltsreckeys version mismatch (%#x/%#x)", "publishTSData", entry.version,
                   kTSRecVersion);
      continue;
    }
    CFStringRef key = keyForIndex(entry.key);
    // Every accepted entry is logged, deliberately at error level: the log shows every call to the store.
    os_log_error(pluginLog(), "%s op=%#x '%@' (%#x)", "publishTSData", entry.op, key, entry.key);
    perform(entry, key);
  }
}
