// Lines of text to records, on one thread: a realistic mix, with and without times, and random bytes. Each run checks
// that the records are those that were rendered.
#include "allocations.h"
#include <profile/read_line.h>
#include <synthetic/record_stream.h>

#include <benchmark/benchmark.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

using namespace vel;

constexpr std::size_t recordCount = 4096;
constexpr profile::TimePolicy withTimes = {profile::TimeSync{3'600'000'000'000, 1'763'708'400'000'000'000},
                                           1'763'704'800'000'000};
constexpr std::uint64_t seed = 17;

template <class Stream>
std::vector<_VelProfileReport> recordsOf(Stream stream) {
  std::vector<_VelProfileReport> records(recordCount);
  stream.fill(records);
  return records;
}

void readLines(benchmark::State& state, const std::vector<_VelProfileReport>& records,
               const profile::TimePolicy& times) {
  std::string text(recordCount * profile::frame_capacity, '\0');
  text.resize(profile::BulkRenderer(times).render(records.data(), recordCount, text.data()));
  std::vector<_VelProfileReport> found(recordCount);
  profile::LineReader reader;
  std::size_t count = 0;
  bool sound = true;
  const std::uint64_t before = bench::allocations();
  for (auto _ : state) {
    count = 0;
    profile::FoundLine line;
    for (std::size_t from = 0; count < recordCount && reader.next(text, from, line); from = line.end) {
      std::memcpy(&found[count++], line.record.data(), line.record.size());
      sound = sound && line.sound;
    }
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(recordCount));
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
  state.counters["allocations"] = static_cast<double>(bench::allocations() - before);
  if (!sound || count != recordCount ||
      std::memcmp(found.data(), records.data(), recordCount * sizeof(_VelProfileReport)) != 0) {
    state.SkipWithError("the records are wrong");
  }
}

void usualMix(benchmark::State& state) {
  readLines(state, recordsOf(synthetic::FlowStream(seed)), {});
}
void usualMixWithTimes(benchmark::State& state) {
  readLines(state, recordsOf(synthetic::FlowStream(seed)), withTimes);
}
void randomBytes(benchmark::State& state) {
  readLines(state, recordsOf(synthetic::RandomStream(seed)), {});
}
BENCHMARK(usualMix);
BENCHMARK(usualMixWithTimes);
BENCHMARK(randomBytes);

} // namespace

BENCHMARK_MAIN();
