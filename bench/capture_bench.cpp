// A full capture of the default device through the loaded bundle, and the cost of each of its stages: the reads from
// the driver, the rendering of the profile records, the strings made of the texts, the property lists made of the
// strings. The rows below `capture` do the same work on the same data outside the plug-in, so that they show where the
// time goes. The time that they leave unexplained is that of the plug-in itself and of the way to its queue and back.

#include "allocations.h"
#include <control/clock.h>
#include <control/log.h>
#include <control/ref.h>
#include <control/registry.h>
#include <control/state.h>
#include <host/session.h>
#include <profile/KIPLogDecoder.h>
#include <profile/profile_description.h>

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>
#include <mach/mach.h>

#include <benchmark/benchmark.h>

#include <cstring>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace {

using namespace vel;

constexpr std::size_t kHandlers = 111;
constexpr std::size_t kProfileHandlers = 104;
constexpr std::size_t kRecords = 32; // of each handler

// The device with all its services registered.
struct Device {
  Device() {
    control::keepLogInMemory(false);
    session.open();
    session.schedule();
    for (const host::MachineService& service : machine.services()) {
      session.registerService(service);
    }
    handlers = control::stateHandlers();
    capture(); // reaches the last of the successive batches, which then repeats
  }

  // The record of each handler, unchanged.
  std::vector<control::StateRecord> capture() const {
    std::vector<control::StateRecord> records;
    for (const os_state_handle_t handler : handlers) {
      records.push_back(control::captureState(handler, OS_STATE_API_REQUEST, "bench"));
    }
    return records;
  }

  host::Machine machine{host::readDeviceModel(std::filesystem::path(MODELS) / "default.json")};
  host::Session session{host::Bundle::load(BUNDLE), machine};
  std::vector<os_state_handle_t> handlers;
};

bool same(const std::vector<control::StateRecord>& a, const std::vector<control::StateRecord>& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const auto& left, const auto& right) {
    return left != nullptr && right != nullptr && left->dataSize == right->dataSize &&
           std::memcmp(left->data, right->data, left->dataSize) == 0;
  });
}

void countAllocations(benchmark::State& state, std::uint64_t before) {
  state.counters["allocations"] =
      benchmark::Counter(static_cast<double>(bench::allocations() - before), benchmark::Counter::kAvgIterations);
}

void capture(benchmark::State& state) {
  const Device device;
  const auto expected = device.capture();
  if (expected.size() != kHandlers || !same(expected, expected)) {
    state.SkipWithError("a record is missing");
    return;
  }
  std::vector<control::StateRecord> records;
  for (auto _ : state) {
    records = device.capture();
  }
  if (!same(records, expected)) {
    state.SkipWithError("the records changed");
  }
}
BENCHMARK(capture)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime()->UseRealTime();

// The same, but also reads the records into trees, as velstat does.
void captureAndRead(benchmark::State& state) {
  Device device;
  std::size_t records = 0;
  for (auto _ : state) {
    records = device.session.capture(OS_STATE_API_REQUEST, "bench").size();
  }
  if (records != kHandlers) {
    state.SkipWithError("a record is missing");
  }
}
BENCHMARK(captureAndRead)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime()->UseRealTime();

using Batch = std::vector<_VelProfileReport>;

// One batch of a named service, read with the calls that the plug-in makes.
Batch readBatch(const char* name, std::uint32_t selector, std::optional<std::uint64_t> scalar) {
  Batch batch(kRecords);
  std::size_t length = batch.size() * sizeof batch.front();
  const io_service_t service = IOServiceGetMatchingService(kIOMasterPortDefault, IOServiceNameMatching(name));
  io_connect_t connection = 0;
  if (service == 0 || IOServiceOpen(service, mach_task_self(), 0, &connection) != 0) {
    return {};
  }
  const IOReturn result = IOConnectCallMethod(connection, selector, scalar ? &*scalar : nullptr, scalar ? 1 : 0,
                                              nullptr, 0, nullptr, nullptr, batch.data(), &length);
  IOServiceClose(connection);
  IOObjectRelease(service);
  batch.resize(result == 0 ? length / sizeof batch.front() : 0);
  return batch;
}

// The same reads as those of the 104 handlers, in the same order.
std::vector<Batch> readBatches() {
  std::vector<Batch> batches;
  for (std::size_t i = 0; i < kProfileHandlers; ++i) {
    batches.push_back(i < 48   ? readBatch("KIP_profile", 2, 209)
                      : i < 56 ? readBatch("TavikVELProfileDriver", 9, std::nullopt)
                               : readBatch("TavikVELProfileDriver", 8, std::nullopt));
  }
  return batches;
}

std::size_t recordCount(const std::vector<Batch>& batches) {
  std::size_t count = 0;
  for (const Batch& batch : batches) {
    count += batch.size();
  }
  return count;
}

void driverReads(benchmark::State& state) {
  const Device device;
  std::size_t count = 0;
  for (auto _ : state) {
    count = recordCount(readBatches());
  }
  if (count != kProfileHandlers * kRecords) {
    state.SkipWithError("records are missing");
  }
}
BENCHMARK(driverReads)->Unit(benchmark::kMillisecond);

using Texts = std::vector<std::vector<std::string>>;

Texts render(const std::vector<Batch>& batches) {
  Texts texts;
  for (const Batch& batch : batches) {
    auto& lines = texts.emplace_back();
    for (const _VelProfileReport& report : batch) {
      lines.push_back(KIPLogDecoder::to_string(report));
    }
  }
  return texts;
}

// The text of each record, without and with the clocks of host and co-processor, which are read again for each record.
void toString(benchmark::State& state) {
  const Device device;
  const std::vector<Batch> batches = readBatches();
  const bool withClocks = state.range(0) != 0;
  if (!withClocks) {
    control::resetRegistry();
  }
  std::size_t length = 0;
  const std::uint64_t before = bench::allocations();
  for (auto _ : state) {
    length = 0;
    for (const Batch& batch : batches) {
      for (const _VelProfileReport& report : batch) {
        length += KIPLogDecoder::to_string(report).size();
      }
    }
  }
  countAllocations(state, before);
  if (length < kProfileHandlers * kRecords * 300) {
    state.SkipWithError("the texts are too short");
  }
}
BENCHMARK(toString)->Arg(0)->Arg(1)->ArgName("clocks")->Unit(benchmark::kMillisecond);

// The function that the plug-in calls for each record: renders the text and makes a string of it.
void rendering(benchmark::State& state) {
  const Device device;
  const std::vector<Batch> batches = readBatches();
  std::size_t strings = 0;
  const std::uint64_t before = bench::allocations();
  for (auto _ : state) {
    strings = 0;
    for (const Batch& batch : batches) {
      for (const _VelProfileReport& report : batch) {
        if (const auto text = control::Ref<CFStringRef>::adopt(CopyProfileDescription(&report))) {
          ++strings;
        }
      }
    }
  }
  countAllocations(state, before);
  if (strings != kProfileHandlers * kRecords) {
    state.SkipWithError("texts are missing");
  }
}
BENCHMARK(rendering)->Unit(benchmark::kMillisecond);

control::Ref<CFMutableArrayRef> arrayOf(const std::vector<std::string>& lines) {
  auto array =
      control::Ref<CFMutableArrayRef>::adopt(CFArrayCreateMutable(kCFAllocatorDefault, 0, &kCFTypeArrayCallBacks));
  for (const std::string& line : lines) {
    const auto text = control::Ref<CFStringRef>::adopt(
        CFStringCreateWithCString(kCFAllocatorDefault, line.c_str(), kCFStringEncodingUTF8));
    CFArrayAppendValue(array.get(), text.get());
  }
  return array;
}

void strings(benchmark::State& state) {
  const Device device;
  const Texts texts = render(readBatches());
  CFIndex count = 0;
  const std::uint64_t before = bench::allocations();
  for (auto _ : state) {
    count = 0;
    for (const auto& lines : texts) {
      count += CFArrayGetCount(arrayOf(lines).get());
    }
  }
  countAllocations(state, before);
  if (count != kProfileHandlers * kRecords) {
    state.SkipWithError("strings are missing");
  }
}
BENCHMARK(strings)->Unit(benchmark::kMillisecond);

void propertyLists(benchmark::State& state) {
  const Device device;
  std::vector<control::Ref<CFMutableArrayRef>> arrays;
  std::size_t characters = 0;
  for (const auto& lines : render(readBatches())) {
    arrays.push_back(arrayOf(lines));
    for (const std::string& line : lines) {
      characters += line.size();
    }
  }
  std::size_t bytes = 0;
  const std::uint64_t before = bench::allocations();
  for (auto _ : state) {
    bytes = 0;
    for (const auto& array : arrays) {
      const auto data = control::Ref<CFDataRef>::adopt(
          CFPropertyListCreateData(kCFAllocatorDefault, array.get(), kCFPropertyListBinaryFormat_v1_0, 0, nullptr));
      bytes += static_cast<std::size_t>(CFDataGetLength(data.get()));
    }
  }
  countAllocations(state, before);
  if (bytes < characters / 2) { // texts that are equal may be written once
    state.SkipWithError("the lists are too short");
  }
}
BENCHMARK(propertyLists)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
