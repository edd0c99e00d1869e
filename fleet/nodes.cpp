// The cluster is that of the distributed table `records`. Each node is asked which shard and replica it is.
#include "fleet/nodes.h"

#include <fleet/content_id.h>
#include <fleet/schema.h>
#include <fleet/sql_text.h>

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <exception>
#include <utility>

namespace vel::fleet {

namespace {

constexpr std::size_t mostNodes = 4096;

std::vector<std::string_view> split(std::string_view text, char separator) {
  std::vector<std::string_view> parts;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(separator), text.size());
    if (end != 0) {
      parts.push_back(text.substr(0, end));
    }
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return parts;
}

// 0 if the text is not the number of a shard.
std::size_t numberOf(std::string_view text) {
  std::size_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() && number <= mostNodes ? number : 0;
}

// The URL with another host, for a node that uses the same port on another machine.
std::string urlWithHost(const std::string& url, std::string_view host) {
  const std::size_t begin = url.find("://") + 3;
  const std::size_t path = std::min(url.find('/', begin), url.size());
  const std::size_t bracket = url.find(']', begin); // of an IPv6 address
  const std::size_t colon = url.find(':', bracket == std::string::npos || bracket > path ? begin : bracket);
  const std::size_t end = std::min(colon, path);
  const bool isIPv6 = host.find(':') != std::string_view::npos;
  return fmt::format("{}{}{}{}{}", url.substr(0, begin), isIPv6 ? "[" : "", host, isIPv6 ? "]" : "", url.substr(end));
}

} // namespace

Nodes::Nodes(const std::vector<ServerAddress>& addresses) : database_(addresses.front().database) {
  for (const ServerAddress& address : addresses) {
    named_.push_back(address.url);
    candidates_.push_back(address);
  }
  std::exception_ptr failure;
  bool found = false;
  for (const ServerAddress& address : addresses) {
    try {
      Http http(address);
      findCluster(http);
      collect(http, address);
      found = true;
      break;
    } catch (const ConnectionError&) {
      failure = failure ? failure : std::current_exception();
    }
  }
  if (!found) {
    std::rethrow_exception(failure);
  }
  identifyAll();
}

void Nodes::findCluster(Http& http) {
  requireSchema(http);
  const std::string engine = http.ask("SELECT engine_full FROM system.tables WHERE database = currentDatabase() AND "
                                      "name = 'records' AND engine = 'Distributed' FORMAT TabSeparatedRaw");
  const std::size_t begin = engine.find('(');
  if (begin == std::string::npos) {
    return;
  }
  std::string name = engine.substr(begin + 1, engine.find_first_of(",)", begin) - begin - 1);
  std::erase_if(name, [](char character) { return character == '\'' || character == '`'; });
  identifier(name); // throws if it is not a valid name
  cluster_ = std::move(name);
}

// Adds all nodes of the cluster that the server knows to the candidates.
void Nodes::collect(Http& http, const ServerAddress& address) {
  if (cluster_.empty()) {
    return;
  }
  const std::string hosts =
      http.ask(fmt::format("SELECT shard_num, host_name FROM system.clusters WHERE cluster = {} FORMAT TabSeparatedRaw",
                           textLiteral(cluster_)));
  shards_ = 0;
  for (const std::string_view line : split(hosts, '\n')) {
    const std::size_t tab = std::min(line.find('\t'), line.size());
    shards_ = std::max(shards_, numberOf(line.substr(0, tab)));
    if (tab != line.size()) {
      addCandidate(address, urlWithHost(address.url, line.substr(tab + 1)));
    }
  }
  if (shards_ == 0) {
    throw Error(fmt::format("{}: the server does not know the cluster '{}' of its tables", address.url, cluster_));
  }
  const std::string urls = http.ask("SELECT substitution FROM system.macros WHERE macro = 'velstat_urls' "
                                    "FORMAT TabSeparatedRaw");
  for (const std::string_view line : split(urls, '\n')) {
    for (const std::string_view url : split(line, ' ')) {
      addCandidate(address, std::string(url));
    }
  }
}

void Nodes::addCandidate(const ServerAddress& like, const std::string& url) {
  const bool isKnown =
      std::any_of(candidates_.begin(), candidates_.end(), [&](const auto& each) { return each.url == url; });
  if (!isKnown && candidates_.size() < mostNodes) {
    candidates_.push_back(like);
    candidates_.back().url = url;
  }
}

// ClickHouse 18.16 reports all replicas of a node's shard as local, so a macro tells which replica the node is.
void Nodes::identify(const ServerAddress& address, bool named) {
  Http http(address);
  Node node{address, 0, address.url};
  if (!cluster_.empty()) {
    const std::string answer = http.ask(fmt::format(
        "SELECT shard_num FROM system.clusters WHERE cluster = {} AND is_local LIMIT 1 FORMAT TabSeparatedRaw",
        textLiteral(cluster_)));
    const std::size_t shard = numberOf(answer.substr(0, answer.find('\n')));
    if (shard == 0 || shard > shards_) {
      if (!named) {
        return; // another server on that host
      }
      throw Error(fmt::format("{}: is not a node of the cluster '{}'", address.url, cluster_));
    }
    node.shard = shard - 1;
    const std::string replica =
        http.ask("SELECT substitution FROM system.macros WHERE macro = 'replica' FORMAT TabSeparatedRaw");
    node.replica = replica.empty() ? address.url : replica;
  }
  requireSchema(http);
  const bool isKnown = std::any_of(nodes_.begin(), nodes_.end(), [&](const Node& each) {
    return each.shard == node.shard && each.replica == node.replica;
  });
  if (!isKnown) {
    nodes_.push_back(std::move(node));
  }
}

// Nodes that do not answer remain candidates.
void Nodes::identifyAll() {
  std::vector<ServerAddress> silent;
  for (ServerAddress& address : candidates_) {
    const bool named = std::find(named_.begin(), named_.end(), address.url) != named_.end();
    try {
      identify(address, named);
    } catch (const ConnectionError&) {
      silent.push_back(std::move(address));
    } catch (const ServerError&) {
      if (named) {
        throw;
      }
    }
  }
  candidates_ = std::move(silent);
}

std::size_t Nodes::shardOf(std::string_view device) const {
  return static_cast<std::size_t>(sipHash(device) % shards_);
}

std::vector<ServerAddress> Nodes::replicas(std::size_t shard) {
  const std::lock_guard lock(mutex_);
  std::vector<ServerAddress> found;
  for (const Node& node : nodes_) {
    if (node.shard == shard) {
      found.push_back(node.address);
    }
  }
  return found;
}

void Nodes::lookAgain() {
  constexpr auto interval = std::chrono::seconds(2);
  const std::lock_guard lock(mutex_);
  const auto now = std::chrono::steady_clock::now();
  if (!candidates_.empty() && now >= nextLook_) {
    identifyAll();
    nextLook_ = std::chrono::steady_clock::now() + interval;
  }
}

void ShardClient::update() {
  std::vector<ServerAddress> addresses = nodes_.replicas(shard_);
  if (addresses.empty()) {
    nodes_.lookAgain();
    addresses = nodes_.replicas(shard_);
  }
  for (const ServerAddress& address : addresses) {
    const bool isOpen = std::any_of(connections_.begin(), connections_.end(),
                                    [&](const auto& each) { return each->address().url == address.url; });
    if (!isOpen) {
      connections_.push_back(std::make_unique<Http>(address));
    }
  }
  if (connections_.empty()) {
    throw ConnectionError(fmt::format("shard {}: none of its nodes has answered", shard_ + 1));
  }
}

void ShardClient::next(std::size_t attempts) {
  first_ = (first_ + 1) % connections_.size();
  if (attempts + 1 == connections_.size()) {
    const std::exception_ptr failure = std::current_exception();
    nodes_.lookAgain();
    std::rethrow_exception(failure);
  }
}

} // namespace vel::fleet
