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

// The nodes that the user names, and those found through the first of them that answers: the other nodes of its
// cluster, if they use the same port or if their URLs are in its macro `velstat_urls`. A server without a cluster is
// one shard with one node.
class Nodes {
public:
  // Asks the nodes; `addresses` must not be empty. Throws Error if none answers, if the tables are not those of this
  // version, or if a node is not of the same cluster.
  explicit Nodes(const std::vector<ServerAddress>& addresses);

  std::size_t shards() const { return shards_; }
  // The shard that has a device's rows.
  std::size_t shardOf(std::string_view device) const;
  // The addresses of a shard's nodes that have answered once. [any thread]
  std::vector<ServerAddress> replicas(std::size_t shard);
  // Asks the nodes that have not answered yet once more, at most every 2 seconds. [any thread]
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

  std::mutex mutex_;                      // guards what follows
  std::vector<ServerAddress> candidates_; // that have not answered yet
  std::vector<Node> nodes_;
  std::chrono::steady_clock::time_point nextLook_;
};

// Sends requests to any replica of a shard, first to the one that answered last. [one thread at a time]
class ShardClient {
public:
  ShardClient(Nodes& nodes, std::size_t shard) : nodes_(nodes), shard_(shard) {}

  // Calls `request` with one node after the other until it does not throw ConnectionError or ServerError. Rethrows the
  // error of the last node if all fail. Throws ConnectionError if no node of the shard is known.
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
  // Moves on to the next node. To be called in an exception's handler: rethrows if that was the last node.
  void next(std::size_t attempts);

  Nodes& nodes_;
  std::size_t shard_;
  std::vector<std::unique_ptr<Http>> connections_;
  std::size_t first_ = 0;
};

} // namespace vel::fleet
