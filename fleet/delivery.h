// Sends blocks of rows to their shards on its own threads, and retries for a limited time. Blocks that could not be
// written go to the spool.
//
// Each block is one INSERT to one replica of its shard, and has the same bytes whenever it is sent. A replicated table
// remembers the blocks that it has, so a block may be sent any number of times, to any replica, by any loader.
#pragma once

#include <fleet/nodes.h>
#include <fleet/spool.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace vel::fleet {

struct DeliveryOptions {
  std::chrono::milliseconds patience{30'000};            // how long a block is retried
  unsigned quorum = 1;                                   // replicas that must have a block before it counts as written
  std::filesystem::path spool;                           // a file that does not exist yet
  std::function<void(const std::string& line)> complain; // [any thread]
};

struct Amount {
  std::uint64_t records = 0;
  std::uint64_t captures = 0;
};

class Delivery {
public:
  Delivery(Nodes& nodes, DeliveryOptions options);
  ~Delivery(); // drops what has not been sent
  Delivery(const Delivery&) = delete;
  Delivery& operator=(const Delivery&) = delete;

  // An empty string, which may reuse the memory of an earlier block. [one thread at a time, like the others]
  std::string room();
  // Entries of a batch are written in order; once one of them is in the spool, the rest of the batch goes there too.
  // Waits while too many are queued. Throws the error that ended the work, if any.
  void send(SpoolEntry entry);
  // Waits until all entries are written or in the spool. Throws the error that ended the work, if any.
  void finish();

  Amount written() const;
  Amount spooled() const;
  bool hasSpool() const;

private:
  // What one thread knows about a shard.
  struct Shard {
    ShardClient client;
    std::optional<std::uint32_t> spooledBatch;
    bool isDown = false;
  };
  struct Lane { // a thread and its queue
    std::deque<SpoolEntry> waiting;
    bool busy = false;
    std::thread thread;
  };

  void work(Lane& lane) noexcept;
  void deliver(const SpoolEntry& entry, std::vector<std::unique_ptr<Shard>>& shards);
  bool attempt(Shard& shard, const SpoolEntry& entry);
  void write(Http& http, const SpoolEntry& entry) const;
  void keep(const SpoolEntry& entry);
  void rethrow() const; // with the mutex held

  Nodes& nodes_;
  const DeliveryOptions options_;

  mutable std::mutex mutex_; // guards all below
  std::condition_variable changed_;
  std::vector<Lane> lanes_;
  std::vector<std::string> rooms_;
  std::unique_ptr<SpoolWriter> spool_;
  Amount written_;
  Amount spooled_;
  std::exception_ptr failure_;
  bool ended_ = false;
};

// The tables that a spool is for, as text: it can be resumed only with the same number of shards, database and columns.
std::string tablesOf(const Nodes& nodes);

} // namespace vel::fleet
