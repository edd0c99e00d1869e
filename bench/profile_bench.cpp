// Profile records to text: the naive stream rendering, to_string, and the bulk path with and without times. Prints the
// ratios of one run after the table.
//
// to_string is measured with time functions that return at once (tests/profile/given_times.cpp), because the time of
// the platform's registry look-up is not part of the decoder's.
#include "allocations.h"
#include "profile/KIPLogDecoder.h"
#include "profile/render.h"
#include "support/naive_profile.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace vel::profile;

constexpr std::size_t block_records = 256;
constexpr std::size_t workload_records = 4096;
constexpr std::size_t record_size = sizeof(_VelProfileReport);
constexpr TimePolicy with_times = {TimeSync{3'600'000'000'000, 1'763'708'400'000'000'000}, 1'763'704'800'000'000};

struct Workload {
  std::string name;
  std::vector<unsigned char> records;
};

// What a kind of record looks like: its ids, and a payload of plausible sizes.
struct Kind {
  const char* name;
  unsigned weight; // in the mix
  unsigned category;
  unsigned components;
  unsigned first_event;
  unsigned events;
  unsigned type;
};

constexpr Kind kinds[] = {
    {"long-data", 8, 6, 3, 3, 3, 1},   {"short-data", 8, 2, 7, 1, 5, 2},      {"event", 15, 5, 1, 0, 1, 3},
    {"trigger", 2, 2, 7, 16, 2, 4},    {"function", 10, 0, 5, 0, 1, 5},       {"sensorinfo", 2, 2, 7, 9, 1, 8},
    {"extfunction", 5, 0, 5, 0, 1, 9}, {"annotation", 2, 2, 7, 10, 1, 11},    {"decimationinfo", 2, 2, 7, 2, 2, 12},
    {"corvane", 6, 4, 1, 0, 2, 3},     {"zorb-event", 20, 7, 5, 0, 1, 3},     {"zorb-input", 8, 7, 1, 2, 1, 2},
    {"zorb-status", 4, 7, 1, 3, 1, 2}, {"zorb-checkpoint", 4, 7, 1, 0, 2, 2}, {"zorb-context", 4, 7, 2, 1, 1, 10},
};

class Generator {
public:
  void append(std::vector<unsigned char>& records, const Kind& kind) {
    unsigned char r[record_size] = {};
    timestamp_ += 50 + below(2000);
    ++sequence_;
    r[0] = static_cast<unsigned char>(kind.type);
    r[1] = static_cast<unsigned char>(kind.first_event + below(kind.events));
    r[2] = static_cast<unsigned char>(below(kind.components));
    r[3] = static_cast<unsigned char>(kind.category);
    std::memcpy(r + 4, &sequence_, sizeof sequence_);
    std::memcpy(r + 8, &timestamp_, sizeof timestamp_);
    fill(r, kind);
    records.insert(records.end(), r, r + record_size);
  }

  std::uint32_t below(std::uint32_t bound) { return static_cast<std::uint32_t>(random_() % bound); }

private:
  void fill(unsigned char* r, const Kind& kind) {
    if (kind.type <= 2 && kind.category != 7) { // raw bytes
      for (unsigned at = 16; at < 48; ++at) {
        r[at] = static_cast<unsigned char>(random_());
      }
      const std::uint16_t length = static_cast<std::uint16_t>(8 + below(17));
      std::memcpy(r + 20, &length, sizeof length);
      return;
    }
    for (unsigned at = 16; at < 48; at += 4) { // words of all magnitudes
      const std::uint32_t word = static_cast<std::uint32_t>(random_()) >> below(32);
      std::memcpy(r + at, &word, sizeof word);
    }
    if (kind.type == 3 && kind.category == 7) {
      const std::uint32_t action = below(48);
      std::memcpy(r + 16, &action, sizeof action);
    }
    if (kind.type == 10) {
      constexpr std::uint16_t versions[] = {3, 4, 5, 7};
      for (unsigned at = 16; at < 48; ++at) {
        r[at] = static_cast<unsigned char>(below(2));
      }
      std::memcpy(r + 16, &versions[below(4)], sizeof versions[0]);
    }
    constexpr const char* names[] = {"bmi-accel", "gyro", "halden_main", "als"};
    const unsigned name_at = kind.type == 8    ? 35
                             : kind.type == 9  ? 32
                             : kind.type == 11 ? 24
                             : kind.type == 12 ? 36
                                               : 0;
    if (name_at != 0) {
      const char* name = names[below(4)];
      std::memcpy(r + name_at, name, std::min<std::size_t>(std::strlen(name) + 1, 8));
    }
  }

  std::mt19937_64 random_{20251121};
  std::uint64_t timestamp_ = 3'600'000'000;
  std::uint32_t sequence_ = 100'000;
};

Workload make_mix() {
  Workload workload{"mix", {}};
  Generator generator;
  unsigned total = 0;
  for (const Kind& kind : kinds) {
    total += kind.weight;
  }
  for (std::size_t i = 0; i < workload_records; ++i) {
    unsigned draw = generator.below(total);
    const Kind* kind = kinds;
    while (draw >= kind->weight) {
      draw -= kind->weight;
      ++kind;
    }
    generator.append(workload.records, *kind);
  }
  return workload;
}

Workload make_random_ids() {
  Workload workload{"random bytes", {}};
  std::mt19937_64 random(7);
  workload.records.resize(workload_records * record_size);
  for (unsigned char& byte : workload.records) {
    byte = static_cast<unsigned char>(random());
  }
  for (std::size_t i = 0; i < workload_records; ++i) {
    unsigned char* r = &workload.records[i * record_size];
    r[0] %= 13;
    r[3] %= 10;
  }
  return workload;
}

std::vector<Workload> make_workloads() {
  std::vector<Workload> workloads = {make_mix()};
  for (const Kind& kind : kinds) {
    Workload workload{kind.name, {}};
    Generator generator;
    for (std::size_t i = 0; i < workload_records; ++i) {
      generator.append(workload.records, kind);
    }
    workloads.push_back(std::move(workload));
  }
  workloads.push_back(make_random_ids());
  return workloads;
}

std::string expected_text(const Workload& workload, const TimePolicy& times) {
  std::string text;
  for (std::size_t at = 0; at < workload.records.size(); at += record_size) {
    naive::Times given;
    if (times.sync) {
      std::uint64_t timestamp;
      std::memcpy(&timestamp, &workload.records[at + 8], sizeof timestamp);
      given = {naive::wall_time(timestamp, times.sync->vel, times.sync->calendar), times.boot};
    }
    text += naive::to_string(&workload.records[at], given) + '\n';
  }
  return text;
}

void report(benchmark::State& state, std::uint64_t allocations, std::size_t bytes) {
  const auto records = static_cast<double>(state.iterations() * workload_records);
  state.counters["allocs/record"] = static_cast<double>(allocations) / records;
  state.counters["bytes/record"] = static_cast<double>(bytes) / static_cast<double>(workload_records);
  state.SetItemsProcessed(static_cast<std::int64_t>(records));
}

// One call for each record; the texts are checked after the loop.
void single(benchmark::State& state, const Workload& workload, std::string (*render)(const unsigned char*)) {
  const std::uint64_t before = vel::bench::allocations();
  for (auto _ : state) {
    for (std::size_t at = 0; at < workload.records.size(); at += record_size) {
      std::string text = render(&workload.records[at]);
      benchmark::DoNotOptimize(text.data());
    }
  }
  const std::uint64_t allocations = vel::bench::allocations() - before;
  std::string text;
  for (std::size_t at = 0; at < workload.records.size(); at += record_size) {
    text += render(&workload.records[at]) + '\n';
  }
  report(state, allocations, text.size());
  if (text != expected_text(workload, {})) {
    state.SkipWithError("the text is wrong");
  }
}

void bulk(benchmark::State& state, const Workload& workload, const TimePolicy& times) {
  std::vector<char> block(block_records * frame_capacity);
  BulkRenderer renderer(times);
  const auto render_all = [&](auto take) {
    for (std::size_t i = 0; i < workload_records; i += block_records) {
      take(renderer.render(&workload.records[i * record_size], block_records, block.data()));
    }
  };
  render_all([](std::size_t) {});
  const std::uint64_t before = vel::bench::allocations();
  for (auto _ : state) {
    render_all([&](std::size_t) { benchmark::ClobberMemory(); });
  }
  const std::uint64_t allocations = vel::bench::allocations() - before;
  std::string text;
  render_all([&](std::size_t length) { text.append(block.data(), length); });
  report(state, allocations, text.size());
  if (text != expected_text(workload, times)) {
    state.SkipWithError("the text is wrong");
  }
}

// Prints the usual table, and keeps the fastest time of each benchmark's repetitions.
class RatioReporter : public benchmark::ConsoleReporter {
public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Iteration && !run.error_occurred) {
        const double time = run.GetAdjustedCPUTime();
        double& best = times_.try_emplace(run.run_name.function_name, time).first->second;
        best = std::min(best, time);
      }
      failed_ |= run.error_occurred;
    }
  }

  void print_ratios(const std::vector<Workload>& workloads) const {
    std::printf("\n%-16s %12s %12s %12s %12s\n", "times faster", "naive ns", "to_string", "bulk", "bulk+times");
    for (const Workload& workload : workloads) {
      const auto time = [&](const char* way) {
        const auto found = times_.find(std::string(way) + "/" + workload.name);
        return found == times_.end() ? 0.0 : found->second;
      };
      if (time("naive") != 0) {
        std::printf("%-16s %12.0f %12.1f %12.1f %12.1f\n", workload.name.c_str(),
                    time("naive") * to_nanoseconds_ / workload_records, time("naive") / time("to_string"),
                    time("naive") / time("bulk"), time("naive") / time("bulk+times"));
      }
    }
  }

  bool failed() const { return failed_; }

private:
  static constexpr double to_nanoseconds_ = 1000; // the benchmarks below report microseconds
  std::map<std::string, double> times_;
  bool failed_ = false;
};

std::string naive_text(const unsigned char* record) {
  return naive::to_string(record);
}

std::string decoder_text(const unsigned char* record) {
  return KIPLogDecoder::to_string(*reinterpret_cast<const _VelProfileReport*>(record));
}

} // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 2;
  }
  const std::vector<Workload> workloads = make_workloads();
  for (const Workload& workload : workloads) {
    const auto add = [&](const char* way, auto run) {
      benchmark::RegisterBenchmark((std::string(way) + "/" + workload.name).c_str(), run)
          ->Unit(benchmark::kMicrosecond);
    };
    add("naive", [&](benchmark::State& state) { single(state, workload, naive_text); });
    add("to_string", [&](benchmark::State& state) { single(state, workload, decoder_text); });
    add("bulk", [&](benchmark::State& state) { bulk(state, workload, {}); });
    add("bulk+times", [&](benchmark::State& state) { bulk(state, workload, with_times); });
  }
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.print_ratios(workloads);
  benchmark::Shutdown();
  return reporter.failed() ? 1 : 0;
}
