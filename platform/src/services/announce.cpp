// Recording and failure plans. One mutex guards both; the flag in front of it says whether there is anything to do.
#include "announce.h"

#include "services/immortal.h"
#include <control/calls.h>
#include <control/cf.h>

#include <fmt/format.h>

#include <mutex>
#include <utility>

namespace vel::platform {

std::atomic<std::uint8_t> watching{0};

namespace {

struct Plan {
  std::string function; // empty: all functions that can fail
  std::uint64_t nth = 0;
  control::Failing how = control::Failing::once;
  std::int32_t code = 0;
  std::uint64_t seen = 0;
};

struct Calls {
  std::mutex mutex;
  std::optional<control::Recording> recording;
  bool failed = false;
  std::vector<std::string> recorded;
  std::vector<Plan> plans;

  // Under the mutex.
  void updateWatching() {
    const bool details = recording == control::Recording::everything;
    const bool any = recording || !plans.empty();
    watching.store((any ? watchingCalls : 0) | (details ? watchingDetails : 0), std::memory_order_relaxed);
  }
};

void addPlan(Plan plan) {
  auto& calls = immortal<Calls>();
  const std::lock_guard lock(calls.mutex);
  calls.plans.push_back(std::move(plan));
  calls.updateWatching();
}

} // namespace

std::string describe(const char* text) {
  return text == nullptr ? "(null)" : text;
}

std::string describe(CFStringRef string) {
  if (string == nullptr) {
    return "(null)";
  }
  return control::utf8(string);
}

std::string describe(std::uint32_t value) {
  return fmt::format("{}{:x}", value == 0 ? "" : "0x", value);
}
std::string describe(std::uint64_t value) {
  return fmt::format("{}", value);
}
std::string describe(std::int32_t value) {
  return fmt::format("{}", value);
}
std::string describe(CFIndex value) {
  return fmt::format("{}", value);
}

std::optional<std::int32_t> announceCall(const char* function, bool canFail, std::string arguments) {
  auto& calls = immortal<Calls>();
  const std::lock_guard lock(calls.mutex);
  if (calls.recording) {
    calls.recorded.push_back(fmt::format("{}({})", function, arguments));
  }
  std::optional<std::int32_t> code;
  if (canFail) {
    for (auto& plan : calls.plans) {
      if (!plan.function.empty() && plan.function != function) {
        continue;
      }
      ++plan.seen;
      const bool due = plan.how == control::Failing::once ? plan.seen == plan.nth : plan.seen >= plan.nth;
      if (due && !code) {
        code = plan.code;
      }
    }
  }
  calls.failed = calls.failed || code.has_value();
  return code;
}

} // namespace vel::platform

namespace vel::control {

using platform::Calls;
using platform::immortal;

void startRecording(Recording what) {
  auto& calls = immortal<Calls>();
  const std::lock_guard lock(calls.mutex);
  calls.recorded.clear();
  calls.recording = what;
  calls.updateWatching();
}

std::vector<std::string> stopRecording() {
  auto& calls = immortal<Calls>();
  const std::lock_guard lock(calls.mutex);
  calls.recording.reset();
  calls.updateWatching();
  return std::exchange(calls.recorded, {});
}

void addToRecording(std::string line) {
  auto& calls = immortal<Calls>();
  const std::lock_guard lock(calls.mutex);
  if (calls.recording == Recording::everything) {
    calls.recorded.push_back(std::move(line));
  }
}

void failCall(std::string_view function, std::uint64_t nth, Failing how, std::int32_t code) {
  platform::addPlan({std::string(function), nth, how, code});
}

void failAnyCall(std::uint64_t nth, Failing how, std::int32_t code) {
  platform::addPlan({{}, nth, how, code});
}

bool clearFailures() {
  auto& calls = immortal<Calls>();
  const std::lock_guard lock(calls.mutex);
  calls.plans.clear();
  calls.updateWatching();
  return std::exchange(calls.failed, false);
}

} // namespace vel::control
