// Keeps the operations in memory, in their order, and in the store that is open.
#include "services/tallystore/sink.h"

#include "cf/printable.h"
#include "services/immortal.h"
#include "services/tallystore/reader.h"
#include "services/tallystore/schema.h"
#include "services/tallystore/store.h"

#include <fmt/format.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <mutex>
#include <new>
#include <stdexcept>
#include <utility>

namespace vel::platform {
namespace {

struct Tally {
  std::mutex mutex;
  bool keep = true;
  std::vector<control::TallyCall> calls;
  std::optional<std::int64_t> time;

  std::filesystem::path path;
  std::unique_ptr<Store> store;
  bool inBatch = false;
  bool complained = false;

  // Under the mutex.
  std::int64_t now() const {
    using std::chrono::microseconds;
    const auto since = std::chrono::system_clock::now().time_since_epoch();
    return time.value_or(std::chrono::duration_cast<microseconds>(since).count());
  }
};

[[noreturn]] void fail(const std::filesystem::path& path, const std::exception& cause) {
  const bool outOfMemory = dynamic_cast<const std::bad_alloc*>(&cause) != nullptr;
  throw std::runtime_error(fmt::format("{}: {}", path.string(), outOfMemory ? "out of memory" : cause.what()));
}

// Replaces the open store by the one that `make` returns. If that fails, the old one stays open.
template <class Make>
void open(const std::filesystem::path& path, Make make) {
  auto& tally = immortal<Tally>();
  const std::lock_guard lock(tally.mutex);
  try {
    tally.store = make();
  } catch (const std::exception& error) {
    fail(path, error);
  }
  tally.path = path;
  tally.inBatch = false;
  tally.complained = false;
}

template <class Question>
auto ask(Question question) {
  auto& tally = immortal<Tally>();
  const std::lock_guard lock(tally.mutex);
  if (tally.store == nullptr) {
    throw std::runtime_error("no store is open");
  }
  try {
    return question(*tally.store);
  } catch (const std::exception& error) {
    fail(tally.path, error);
  }
}

// The functions report no error to their caller, so the first one goes to stderr.
void writeAtOnce(Tally& tally) {
  try {
    tally.store->write(tally.now());
  } catch (const std::exception& error) {
    if (!std::exchange(tally.complained, true)) {
      const std::string cause = fmt::format("TallyStore: {}: {}", tally.path.string(), error.what());
      std::fprintf(stderr, "%s\n", printable(cause).c_str());
    }
  }
}

} // namespace

void takeTally(control::TallyOp op, std::string_view key, std::int64_t scalar, double sample) {
  auto& tally = immortal<Tally>();
  const std::lock_guard lock(tally.mutex);
  if (tally.keep) {
    tally.calls.push_back({op, std::string(key), scalar, sample});
  }
  if (tally.store != nullptr) {
    tally.store->take(key, {.op = op, .scalar = scalar, .sample = sample});
    if (!tally.inBatch) {
      writeAtOnce(tally);
    }
  }
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

void keepTallyInMemory(bool keep) {
  auto& tally = immortal<Tally>();
  const std::lock_guard lock(tally.mutex);
  tally.keep = keep;
}

void openTallyStore(const std::filesystem::path& path) {
  platform::open(path, [&] { return std::make_unique<platform::Store>(path); });
}

void openTallyStoreInMemory() {
  platform::open("the metrics", [] { return std::make_unique<platform::Store>(); });
}

std::vector<TallyRow> tallyRows() {
  return platform::ask([](const platform::Store& store) { return store.rows(); });
}

std::string tallyImage() {
  return platform::ask([](const platform::Store& store) { return store.image(); });
}

std::vector<std::filesystem::path> tallyStoreFiles(const std::filesystem::path& path) {
  return platform::filesOf(platform::fileOf(path));
}

void closeTallyStore() {
  auto& tally = immortal<Tally>();
  const std::lock_guard lock(tally.mutex);
  tally.store.reset();
  tally.inBatch = false;
}

void beginTallyBatch() {
  auto& tally = immortal<Tally>();
  const std::lock_guard lock(tally.mutex);
  tally.inBatch = tally.store != nullptr;
}

void endTallyBatch() {
  auto& tally = immortal<Tally>();
  const std::lock_guard lock(tally.mutex);
  if (!std::exchange(tally.inBatch, false)) {
    return;
  }
  try {
    tally.store->write(tally.now());
  } catch (const std::exception& error) {
    platform::fail(tally.path, error);
  }
}

void setTallyTime(std::optional<std::int64_t> microseconds) {
  auto& tally = immortal<Tally>();
  const std::lock_guard lock(tally.mutex);
  tally.time = microseconds;
}

std::vector<TallyRow> readTallyStore(const std::filesystem::path& path) {
  try {
    return platform::readStore(path);
  } catch (const std::exception& error) {
    platform::fail(path, error);
  }
}

} // namespace vel::control
