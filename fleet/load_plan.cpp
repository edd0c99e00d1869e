// Sorts captures into batches that do not depend on the order of the list, or on what has been loaded before.
#include "fleet/load.h"
#include <fleet/content_id.h>
#include <formats/error.h>

#include <algorithm>
#include <map>
#include <utility>

namespace vel::fleet {

namespace {

// The limits of a batch; a single device may have more bytes. Larger batches give larger blocks, which need fewer
// merges, but a crash repeats a whole batch.
constexpr std::uint64_t batchBytes = std::uint64_t{64} << 20;
constexpr std::size_t batchDevices = 1000;

std::uint64_t sizeOf(const PlannedDevice& device) {
  std::uint64_t size = 0;
  for (const PlannedCapture& capture : device.captures) {
    size += capture.size;
  }
  return size;
}

// Divides a shard's devices into batches.
std::vector<PlannedBatch> batchesOf(std::size_t shard, std::vector<PlannedDevice> devices) {
  std::vector<PlannedBatch> batches;
  std::uint64_t size = 0;
  for (PlannedDevice& device : devices) {
    const std::uint64_t more = sizeOf(device);
    if (batches.empty() || size + more > batchBytes || batches.back().devices.size() == batchDevices) {
      batches.push_back({shard, {}});
      size = 0;
    }
    size += more;
    batches.back().devices.push_back(std::move(device));
  }
  return batches;
}

} // namespace

LoadPlan planLoad(std::vector<ListedCapture> captures, const std::function<std::size_t(std::string_view)>& shardOf,
                  const std::function<void(std::string_view line)>& complain) {
  LoadPlan plan;
  std::map<std::string, std::map<std::string, PlannedCapture>> devices; // by device id and capture id
  for (ListedCapture& listed : captures) {
    ++plan.captures;
    try {
      completeFromManifest(listed.path, listed.origin);
      requireOrigin(listed.path, listed.origin);
      const Content content = contentOf(listed.path);
      const std::string device = listed.origin.device;
      const bool isNew =
          devices[device].try_emplace(content.id, PlannedCapture{std::move(listed), content.id, content.size}).second;
      plan.repeated += isNew ? 0 : 1;
      plan.bytes += isNew ? content.size : 0;
    } catch (const formats::Error& error) {
      complain(error.what());
      ++plan.refused;
    }
  }
  std::map<std::size_t, std::vector<PlannedDevice>> shards;
  for (auto& [id, found] : devices) {
    PlannedDevice device{id, {}};
    for (auto& [content, capture] : found) {
      device.captures.push_back(std::move(capture));
    }
    shards[shardOf(id)].push_back(std::move(device));
  }
  // The shards alternate, so that all of them have work at the same time.
  std::vector<std::vector<PlannedBatch>> lanes;
  std::size_t longest = 0;
  for (auto& [shard, found] : shards) {
    lanes.push_back(batchesOf(shard, std::move(found)));
    longest = std::max(longest, lanes.back().size());
  }
  for (std::size_t i = 0; i < longest; ++i) {
    for (std::vector<PlannedBatch>& lane : lanes) {
      if (i < lane.size()) {
        plan.batches.push_back(std::move(lane[i]));
      }
    }
  }
  return plan;
}

} // namespace vel::fleet
