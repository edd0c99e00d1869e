// The six operations of TallyStore, each one call of the sink.
#include "announce.h"
#include "cf/string.h"
#include "services/tallystore/sink.h"

#include <TallyStore/TallyStore.h>

using vel::control::TallyOp;

namespace {

// A null key is ignored.
void take(const char* function, TallyOp op, CFStringRef key, std::int64_t scalar, double sample) {
  vel::platform::note(function, key);
  if (key != nullptr) {
    vel::platform::takeTally(op, vel::platform::expect(key, function).view(), scalar, sample);
  }
}

} // namespace

void TSClientClearScalarKey(CFStringRef key) {
  take("TSClientClearScalarKey", TallyOp::clearScalar, key, 0, 0);
}

void TSClientSetValueForScalarKey(CFStringRef key, int64_t value) {
  take("TSClientSetValueForScalarKey", TallyOp::setScalar, key, value, 0);
}

void TSClientAddValueForScalarKey(CFStringRef key, int64_t value) {
  take("TSClientAddValueForScalarKey", TallyOp::addScalar, key, value, 0);
}

void TSClientClearDistributionKey(CFStringRef key) {
  take("TSClientClearDistributionKey", TallyOp::clearDistribution, key, 0, 0);
}

void TSClientSetValueForDistributionKey(CFStringRef key, double value) {
  take("TSClientSetValueForDistributionKey", TallyOp::setDistribution, key, 0, value);
}

void TSClientPushValueForDistributionKey(CFStringRef key, double value) {
  take("TSClientPushValueForDistributionKey", TallyOp::pushDistribution, key, 0, value);
}
