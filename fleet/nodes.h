// The nodes of a cluster: which URL is which replica of which shard.
#pragma once

#include <fleet/http.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace vel::fleet {

// Found through the nodes that are named: all nodes of their cluster, if they have the port of the first one, or if
// their URLs are in the macro `velstat_urls` of any. A server without a cluster is a shard with one node.
class Nodes {
public:
  // Asks them; `addresses` are not empty. Throws Error if none answers, if the tables are not those of this version, or
  // if a node is not of the same cluster.
  explicit Nodes(const std::vector<ServerAddress>& addresses);

  std::size_t shards() const { return shards_; }
  // Where a device's rows are.
  std::size_t shardOf(std::string_view device) const;
  // The addresses of a shard's nodes that have answered once. [any thread]
  std::vector<ServerAddress> replicas(std::size_t shard);
  // Asks those that have never answered again, if the last time was not just now. [any thread]
  void lookAgain();
  const std::string& database() const { return database_; }

private:
  struct Node {
    ServerAddress address;
    std::size_t shard = 0;
    std::string replica; // its name: a node may have several URLs
  };

  void findCluster(Http& http);
  void collect(Http& http, const ServerAddress& address);
  void addCandidate(const ServerAddress& like, const std::string& url);
  void identify(const ServerAddress& address, bool named);
  void identifyAll();

  std::string database_;
  std::string cluster_; // empty: one server
  std::size_t shards_ = 1;
  std::vector<std::string> named_; // URLs

  std::mutex mutex_;                      // of what is below
  std::vector<ServerAddress> candidates_; // that have not answered yet
  std::vector<Node> nodes_;
  std::chrono::steady_clock::time_point nextLook_;
};

// A request to any replica of a shard, the one that answered last first. [one thread at a time]
class ShardClient {
public:
  ShardClient(Nodes& nodes, std::size_t shard) : nodes_(nodes), shard_(shard) {}

  // Calls it with one node after the other until it does not throw ConnectionError or ServerError; rethrows the last
  // one's. Throws ConnectionError if no node of the shard is known.
  template <class Request>
  auto attempt(Request request) {
    update();
    for (std::size_t i = 0;; ++i) {
      try {
        return request(*connections_[first_]);
      } catch (const ConnectionError&) {
        next(i);
      } catch (const ServerError&) {
        next(i);
      }
    }
  }

private:
  // Opens connections to nodes that are new.
  void update();
  // To the next node; in an exception's handler, rethrows it if that was the last one.
  void next(std::size_t attempts);

  Nodes& nodes_;
  std::size_t shard_;
  std::vector<std::unique_ptr<Http>> connections_;
  std::size_t first_ = 0;
};

} // namespace vel::fleet
