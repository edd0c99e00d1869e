// The six operations: each becomes one row for the memory that tests read and for the sink.
#include <TallyStore/TallyStore.h>
#include <control/cf.h>
#include <control/tally.h>

#include <mutex>
#include <utility>

#include "announce.h"
#include "services/immortal.h"
#include "services/tallystore/sink.h"

using vel::control::TallyCall;
using vel::control::TallyOp;

namespace vel::platform {
namespace {

struct Tally {
  std::mutex mutex;
  std::vector<TallyCall> calls;
  std::shared_ptr<TallySink> sink;
};

// A null key names nothing to count under.
void take(const char* function, TallyOp op, CFStringRef key, std::int64_t scalar, double sample) {
  note(function, key);
  if (key == nullptr) {
    return;
  }
  TallyCall call{op, control::utf8(key), scalar, sample};
  auto& tally = immortal<Tally>();
  const std::lock_guard lock(tally.mutex);
  if (tally.sink) {
    tally.sink->take(call);
  }
  tally.calls.push_back(std::move(call));
}

} // namespace

void setTallySink(std::shared_ptr<TallySink> sink) {
  auto& tally = immortal<Tally>();
  const std::lock_guard lock(tally.mutex);
  tally.sink = std::move(sink);
}

} // namespace vel::platform

using vel::platform::take;

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

namespace vel::control {

std::vector<TallyCall> tallyCalls() {
  auto& tally = platform::immortal<platform::Tally>();
  const std::lock_guard lock(tally.mutex);
  return tally.calls;
}

void clearTally() {
  auto& tally = platform::immortal<platform::Tally>();
  const std::lock_guard lock(tally.mutex);
  tally.calls.clear();
}

} // namespace vel::control
