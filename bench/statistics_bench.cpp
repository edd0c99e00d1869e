// Measures one registration, and one capture of the button's statistics, through the plug-in's objects on the platform.

#include "allocations.h"
#include "support/statistics_fixture.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>

namespace {

using namespace vel;

// The fixture's object and device, outside a test.
struct Plugin : test::StatisticsTest {
  void TestBody() override {}
};

void countAllocations(benchmark::State& state, std::uint64_t before) {
  state.counters["allocations"] =
      benchmark::Counter(static_cast<double>(bench::allocations() - before), benchmark::Counter::kAvgIterations);
}

// Handlers are kept for the life of an object, so registrations are measured in batches, each on a new object.
void registerButton(benchmark::State& state) {
  constexpr int kBatch = 64;
  while (state.KeepRunningBatch(kBatch)) {
    state.PauseTiming();
    {
      Plugin plugin;
      auto service = plugin.addService({.usages = Plugin::button});
      plugin.plugin->registerService(service.get()); // also registers the raw debug handlers, once per object
      const std::uint64_t before = bench::allocations();
      state.ResumeTiming();
      for (int i = 0; i < kBatch; ++i) {
        plugin.plugin->registerService(service.get());
      }
      state.PauseTiming();
      state.counters["allocations"] = static_cast<double>(bench::allocations() - before) / kBatch;
      if (plugin.contexts().size() != kBatch + 1) {
        state.SkipWithError("a service was not kept");
      }
    }
    state.ResumeTiming();
  }
}
BENCHMARK(registerButton);

// The first service of an object also registers the 104 raw debug handlers.
void registerFirstButton(benchmark::State& state) {
  for (auto _ : state) {
    state.PauseTiming();
    {
      Plugin plugin;
      auto service = plugin.addService({.usages = Plugin::button});
      state.ResumeTiming();
      const std::uint64_t before = bench::allocations();
      plugin.plugin->registerService(service.get());
      state.counters["allocations"] = static_cast<double>(bench::allocations() - before);
      state.PauseTiming();
      if (control::stateHandlers().size() != 2 + 104) {
        state.SkipWithError("handlers are missing");
      }
    }
    state.ResumeTiming();
  }
}
BENCHMARK(registerFirstButton);

// Calls the handler directly, on the calling thread; the device answers at once.
void captureButton(benchmark::State& state) {
  Plugin plugin;
  plugin.registerService({.usages = Plugin::button});
  plugin.driver.property = [](std::uint32_t) { return test::Reply{test::Bytes(330, 1)}; };
  os_state_hints_s hints = {.version = 1, .requestor = "bench", .api = OS_STATE_API_REQUEST, .reason = 0};
  Context* context = plugin.contexts().front();
  const control::StateRecord expected(plugin.plugin->stateHandler_ZORBStats(&hints, context));
  const std::uint64_t before = bench::allocations();
  for (auto _ : state) {
    const control::StateRecord record(plugin.plugin->stateHandler_ZORBStats(&hints, context));
    if (record == nullptr || record->dataSize != expected->dataSize ||
        std::memcmp(record->data, expected->data, expected->dataSize) != 0) {
      state.SkipWithError("the record changed");
      break;
    }
    plugin.driver.propertiesRead.clear();
    plugin.driver.calls.clear();
  }
  countAllocations(state, before);
}
BENCHMARK(captureButton);

} // namespace

BENCHMARK_MAIN();
