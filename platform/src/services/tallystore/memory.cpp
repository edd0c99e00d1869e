// Keeps the operations in memory, in their order.
#include "services/tallystore/sink.h"

#include <mutex>
#include <utility>

#include "services/immortal.h"

namespace vel::platform {
namespace {

struct Tally {
  std::mutex mutex;
  std::vector<control::TallyCall> calls;
};

} // namespace

void takeTally(control::TallyCall call) {
  auto& tally = immortal<Tally>();
  const std::lock_guard lock(tally.mutex);
  tally.calls.push_back(std::move(call));
}

} // namespace vel::platform

namespace vel::control {

using platform::immortal;
using platform::Tally;

std::vector<TallyCall> tallyCalls() {
  auto& tally = immortal<Tally>();
  const std::lock_guard lock(tally.mutex);
  return tally.calls;
}

void clearTally() {
  auto& tally = immortal<Tally>();
  const std::lock_guard lock(tally.mutex);
  tally.calls.clear();
}

} // namespace vel::control
