// Analytics entries per second, in batches as a device sends them: through the plug-in or directly into TallyStore's
// functions, with and without the store's file and the log's. The cost of a stage is the difference between two rows;
// the cost of SQLite is what a batch still costs when it has few entries.

#include "Analytics.h"
#include "AnalyticsKeys.h"
#include "support/statistics_fixture.h"
#include <control/tally.h>

#include <TallyStore/TallyStore.h>

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace {

using namespace vel;
namespace fs = std::filesystem;

constexpr std::size_t kBatches = 64;
using Batch = std::vector<TSRec>;

// Counters are added to; all other values are pushed, mostly once. The values are like those that firmware sends.
std::vector<Batch> makeBatches(std::size_t size) {
  std::mt19937 random(11);
  std::vector<Batch> batches(kBatches, Batch(size));
  for (Batch& batch : batches) {
    for (TSRec& entry : batch) {
      const auto key = static_cast<std::uint8_t>(random() % kVELTSRecKey_Count);
      const bool counts = std::string_view(kTallyStoreKeyNames[key]).ends_with("count");
      const bool weighted = random() % 8 == 0;
      const auto pushes = weighted ? random() % 50 : 0;
      entry.version = kTSRecVersion;
      entry.op = static_cast<std::uint8_t>(counts ? TSOpAddScalar : TSOpPushDistribution + pushes);
      entry.key = key;
      entry.value = static_cast<std::int32_t>(counts ? random() % 4 : random() % (500U << 16));
    }
  }
  return batches;
}

struct Expected {
  std::int64_t scalar = 0;
  std::uint64_t count = 0;
  double sum = 0;
};

// The plug-in's object on the platform, with a store and a log in a folder of their own.
struct Plugin : test::StatisticsTest {
  explicit Plugin(bool withStore, bool withLog) : store(withStore), log(withLog) {
    std::string name = (fs::temp_directory_path() / "tally-bench-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
      std::abort();
    }
    folder = name;
    control::keepTallyInMemory(false);
    control::keepLogInMemory(false);
    if (store) {
      control::openTallyStore(folder / "tally.sqlite");
    }
    if (log) {
      control::setLogFile(folder / "log.jsonl");
    } else {
      control::setLogLevel(OS_LOG_TYPE_ERROR, false);
    }
  }
  ~Plugin() override {
    control::closeTallyStore();
    control::setLogFile({});
    control::setLogLevel(OS_LOG_TYPE_ERROR, true);
    control::keepTallyInMemory(true);
    control::keepLogInMemory(true);
    fs::remove_all(folder);
  }
  void TestBody() override {}

  // Whether store and log hold the sum of that many batches.
  bool check(const std::vector<Batch>& batches, std::uint64_t published) {
    control::closeTallyStore();
    control::setLogFile({});
    std::map<std::string, Expected> expected;
    std::uint64_t entries = 0;
    for (std::size_t i = 0; i < batches.size(); ++i) {
      const std::uint64_t times = published / kBatches + (i < published % kBatches ? 1 : 0);
      for (const TSRec& entry : batches[i]) {
        Expected& one = expected[kTallyStoreKeyNames[entry.key]];
        entries += times;
        if (entry.op == TSOpAddScalar) {
          one.scalar += static_cast<std::int64_t>(times) * entry.value;
        } else {
          const std::uint64_t weight = times * static_cast<std::uint64_t>(entry.op - TSOpSetDistribution);
          one.count += weight;
          one.sum += static_cast<double>(static_cast<float>(entry.value) * 0x1p-16F) * static_cast<double>(weight);
        }
      }
    }
    bool right = true;
    if (store) {
      for (const control::TallyRow& row : control::readTallyStore(folder / "tally.sqlite")) {
        const Expected& one = expected[row.key];
        right = right && row.scalar.value == one.scalar && row.distribution.count == one.count &&
                std::fabs(row.distribution.sum - one.sum) <= one.sum * 1e-9;
        expected.erase(row.key);
      }
      right = right && (published < kBatches || expected.empty());
    }
    if (log) {
      std::ifstream lines(folder / "log.jsonl");
      right =
          right && static_cast<std::uint64_t>(std::count(std::istreambuf_iterator<char>(lines), {}, '\n')) == entries;
    }
    return right;
  }

  bool store;
  bool log;
  fs::path folder;
};

// Publishes one batch after the other with `publish`, and checks the result.
template <class Publish>
void publishBatches(benchmark::State& state, bool withStore, bool withLog, Publish publish) {
  std::vector<Batch> batches = makeBatches(static_cast<std::size_t>(state.range(0)));
  Plugin plugin(withStore, withLog);
  std::uint64_t published = 0;
  for (auto _ : state) {
    control::beginTallyBatch();
    publish(plugin, batches[published++ % kBatches]);
    control::endTallyBatch();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
  if (!plugin.check(batches, published)) {
    state.SkipWithError("the store or the log holds something else");
  }
}

void throughPlugin(Plugin& plugin, Batch& batch) {
  plugin.plugin->publishTSData(batch.data(), batch.size());
}

// The operations without the plug-in: nothing is looked up, scaled or logged.
void straight(Plugin& plugin, Batch& batch) {
  for (const TSRec& entry : batch) {
    CFStringRef key = plugin.plugin->_keys[entry.key];
    if (entry.op == TSOpAddScalar) {
      TSClientAddValueForScalarKey(key, entry.value);
    } else {
      const double sample = static_cast<float>(entry.value) * 0x1p-16F;
      for (int pushes = entry.op - TSOpSetDistribution; pushes > 0; --pushes) {
        TSClientPushValueForDistributionKey(key, sample);
      }
    }
  }
}

void plugin(benchmark::State& state) {
  publishBatches(state, false, false, throughPlugin);
}
void plugin_log(benchmark::State& state) {
  publishBatches(state, false, true, throughPlugin);
}
void plugin_store(benchmark::State& state) {
  publishBatches(state, true, false, throughPlugin);
}
void plugin_store_log(benchmark::State& state) {
  publishBatches(state, true, true, throughPlugin);
}
void functions_store(benchmark::State& state) {
  publishBatches(state, true, false, straight);
}

BENCHMARK(plugin)->Arg(100)->Arg(1000)->UseRealTime();
BENCHMARK(plugin_log)->Arg(100)->Arg(1000)->UseRealTime();
BENCHMARK(plugin_store)->Arg(100)->Arg(1000)->UseRealTime();
BENCHMARK(plugin_store_log)->Arg(100)->Arg(1000)->UseRealTime();
BENCHMARK(functions_store)->Arg(1)->Arg(100)->Arg(1000)->Arg(100'000)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
