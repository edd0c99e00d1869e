// One thread for each shard, up to a limit. Each thread sends one block while one more waits.
#include "fleet/delivery.h"

#include <fleet/row_counts.h>
#include <fleet/schema.h>

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace vel::fleet {

namespace {

constexpr std::size_t mostThreads = 4;
constexpr std::size_t mostWaiting = 1; // blocks for each thread
constexpr auto firstPause = std::chrono::milliseconds(100);
constexpr auto longestPause = std::chrono::milliseconds(2000);

// Each INSERT is one block, so that repeating it sends the same block.
Settings insertSettings(unsigned quorum) {
  Settings settings = {{"max_insert_block_size", "1000000000"},
                       {"min_insert_block_size_rows", "0"},
                       {"min_insert_block_size_bytes", "0"}};
  if (quorum > 1) {
    settings.emplace_back("insert_quorum", std::to_string(quorum));
    settings.emplace_back("insert_quorum_timeout", "20000");
  }
  return settings;
}

} // namespace

std::string tablesOf(const Nodes& nodes) {
  std::string text = fmt::format("{} shards", nodes.shards());
  for (const StoredTable& table : storedTables()) {
    text += "\n" + insertStatement(table, nodes.database());
  }
  return text;
}

Delivery::Delivery(Nodes& nodes, DeliveryOptions options)
    : nodes_(nodes), options_(std::move(options)), lanes_(std::min(nodes.shards(), mostThreads)) {
  for (Lane& lane : lanes_) {
    lane.thread = std::thread([this, &lane] { work(lane); });
  }
}

Delivery::~Delivery() {
  {
    const std::lock_guard lock(mutex_);
    ended_ = true;
  }
  changed_.notify_all();
  for (Lane& lane : lanes_) {
    lane.thread.join();
  }
}

std::string Delivery::room() {
  const std::lock_guard lock(mutex_);
  if (rooms_.empty()) {
    return {};
  }
  std::string room = std::move(rooms_.back());
  rooms_.pop_back();
  room.clear();
  return room;
}

void Delivery::rethrow() const {
  if (failure_) {
    std::rethrow_exception(failure_);
  }
}

void Delivery::send(SpoolEntry entry) {
  std::unique_lock lock(mutex_);
  Lane& lane = lanes_[entry.shard % lanes_.size()];
  changed_.wait(lock, [&] { return failure_ || lane.waiting.size() < mostWaiting; });
  rethrow();
  lane.waiting.push_back(std::move(entry));
  changed_.notify_all();
}

void Delivery::finish() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [&] {
    return failure_ || std::all_of(lanes_.begin(), lanes_.end(),
                                   [](const Lane& lane) { return !lane.busy && lane.waiting.empty(); });
  });
  rethrow();
}

Amount Delivery::written() const {
  const std::lock_guard lock(mutex_);
  return written_;
}

Amount Delivery::spooled() const {
  const std::lock_guard lock(mutex_);
  return spooled_;
}

bool Delivery::hasSpool() const {
  const std::lock_guard lock(mutex_);
  return spool_ != nullptr;
}

void Delivery::work(Lane& lane) noexcept {
  try {
    std::vector<std::unique_ptr<Shard>> shards(nodes_.shards());
    for (std::size_t i = 0; i < shards.size(); ++i) {
      shards[i] = std::make_unique<Shard>(Shard{ShardClient(nodes_, i), {}, false});
    }
    std::unique_lock lock(mutex_);
    for (;;) {
      changed_.wait(lock, [&] { return ended_ || failure_ || !lane.waiting.empty(); });
      if (ended_ || failure_) {
        return;
      }
      SpoolEntry entry = std::move(lane.waiting.front());
      lane.waiting.pop_front();
      lane.busy = true;
      changed_.notify_all();
      lock.unlock();
      deliver(entry, shards);
      lock.lock();
      lane.busy = false;
      if (rooms_.size() < lanes_.size()) {
        rooms_.push_back(std::move(entry.rows));
      }
      changed_.notify_all();
    }
  } catch (...) {
    const std::lock_guard lock(mutex_);
    failure_ = failure_ ? failure_ : std::current_exception();
    changed_.notify_all();
  }
}

void Delivery::deliver(const SpoolEntry& entry, std::vector<std::unique_ptr<Shard>>& shards) {
  Shard& shard = *shards[entry.shard];
  if (shard.spooledBatch == entry.batch || !attempt(shard, entry)) {
    shard.spooledBatch = entry.batch;
    keep(entry);
    return;
  }
  const std::lock_guard lock(mutex_);
  written_.records += entry.records;
  written_.captures += entry.captures;
}

// Returns false if the shard did not take the entry in time. A shard that failed the last time is tried only once.
bool Delivery::attempt(Shard& shard, const SpoolEntry& entry) {
  const auto begin = std::chrono::steady_clock::now();
  const auto patience = shard.isDown ? std::chrono::milliseconds(0) : options_.patience;
  for (auto pause = firstPause;; pause = std::min(pause * 2, longestPause)) {
    std::optional<std::string> cause;
    try {
      shard.client.attempt([&](Http& http) { write(http, entry); });
    } catch (const ConnectionError& error) {
      cause = error.what();
    } catch (const ServerError& error) {
      cause = error.what();
    }
    if (!cause) {
      shard.isDown = false;
      return true;
    }
    std::unique_lock lock(mutex_);
    const bool isOver = std::chrono::steady_clock::now() - begin + pause > patience;
    if (isOver || changed_.wait_for(lock, pause, [&] { return ended_ || failure_; })) {
      const bool isGivenUp = ended_ || failure_;
      lock.unlock();
      if (!shard.isDown && !isGivenUp) {
        options_.complain(fmt::format("{}; what could not be written is kept in {}", *cause, options_.spool.string()));
      }
      shard.isDown = true;
      return false;
    }
  }
}

void Delivery::write(Http& http, const SpoolEntry& entry) const {
  if (entry.kind == SpoolEntry::Kind::check) {
    removeDoubles(http, decodeCounts(entry.rows));
  } else {
    http.insert(insertStatement(storedTable(entry.table), nodes_.database()), entry.rows,
                insertSettings(options_.quorum));
  }
}

void Delivery::keep(const SpoolEntry& entry) {
  const std::lock_guard lock(mutex_);
  if (ended_ || failure_) {
    return; // the load has failed, and is to be repeated as a whole
  }
  if (!spool_) {
    spool_ = std::make_unique<SpoolWriter>(options_.spool, tablesOf(nodes_));
  }
  spool_->add(entry);
  spooled_.records += entry.records;
  spooled_.captures += entry.captures;
}

} // namespace vel::fleet
