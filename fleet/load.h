// Loads captures into a fleet's tables, each capture once.
//
// The captures are sorted into batches, which depend only on the list and on the captures' content. A batch belongs to
// one shard; its rows go there in blocks that have the same bytes each time. The rows of `captures` come last: they
// mark the captures as complete. A second load of the same list, after a crash or at the same time, sends the same
// blocks, which the tables ignore, or finds the captures complete.
#pragma once

#include <fleet/capture_list.h>
#include <fleet/delivery.h>
#include <fleet/nodes.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string_view>
#include <vector>

namespace vel::fleet {

struct LoadOptions {
  DeliveryOptions delivery;
  std::function<void(std::string_view line)> complain;                      // errors in the inputs [any thread]
  std::function<void(std::uint64_t records, std::uint64_t bytes)> progress; // of what has been read [this thread]
};

struct LoadSummary {
  Amount read;
  Amount written;
  Amount alreadyThere;
  Amount refused; // captures that cannot be read or have no device, and lines that give no record
  Amount spooled;
  bool hasSpool = false; // even if it holds no records
  bool isComplete() const { return refused.captures == 0 && !hasSpool; }
};

struct PlannedCapture {
  ListedCapture listed;
  std::string id;
  std::uint64_t size = 0; // in bytes
};
struct PlannedDevice {
  std::string device;
  std::vector<PlannedCapture> captures; // in the order of their ids
};
struct PlannedBatch {
  std::size_t shard = 0;
  std::vector<PlannedDevice> devices; // in the order of their ids
};
struct LoadPlan {
  std::vector<PlannedBatch> batches;
  std::uint64_t captures = 0; // in the list, including those refused and repeated
  std::uint64_t refused = 0;
  std::uint64_t repeated = 0;
  std::uint64_t bytes = 0;
};

// Calls `complain` for each refused capture. `shardOf` gives a device's shard.
LoadPlan planLoad(std::vector<ListedCapture> captures, const std::function<std::size_t(std::string_view)>& shardOf,
                  const std::function<void(std::string_view line)>& complain);

// Throws Error if the load as a whole cannot continue.
LoadSummary load(Nodes& nodes, const LoadPlan& plan, const LoadOptions& options);

// Writes the entries of a spool. Removes the spool if all were written; otherwise the spool keeps the rest.
// `delivery.spool` is ignored.
LoadSummary resumeLoad(Nodes& nodes, const std::filesystem::path& spool, const LoadOptions& options);

} // namespace vel::fleet
