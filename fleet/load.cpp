// Reads the devices of a batch one after another, and sends a block whenever enough rows have been collected.
#include "fleet/load.h"

#include <fleet/device_rows.h>
#include <fleet/row_counts.h>
#include <fleet/schema.h>

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <exception>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <system_error>
#include <thread>
#include <utility>

namespace vel::fleet {

namespace {

namespace fs = std::filesystem;

// About 80 MB of rows: a request takes a few tenths of a second.
constexpr std::size_t blockRecords = std::size_t{512} << 10;
constexpr std::size_t blockBytes = std::size_t{64} << 20; // of the other tables

// What a shard already has of a batch's devices.
struct Present {
  CaptureCounts complete; // the number of records of each complete capture
  CaptureCounts rows;     // the rows in `records` of each capture, complete or not

  // Whether the device has rows of other captures than these.
  bool hasOthers(const PlannedDevice& device, const std::set<std::string>& captures) const {
    const auto isOther = [&](const auto& each) {
      return each.first.device == device.device && !captures.contains(each.first.capture);
    };
    const auto begin = rows.lower_bound({device.device, ""});
    for (auto each = begin; each != rows.end() && each->first.device == device.device; ++each) {
      if (isOther(*each)) {
        return true;
      }
    }
    return false;
  }
};

class Loader {
public:
  Loader(Nodes& nodes, const LoadOptions& options)
      : options_(options), delivery_(nodes, options.delivery), records_(storedTable("records")),
        captures_(storedTable("captures")) {
    for (std::size_t i = 0; i < nodes.shards(); ++i) {
      clients_.emplace_back(nodes, i);
    }
  }

  LoadSummary load(const LoadPlan& plan) {
    summary_.read.captures = plan.captures - plan.refused;
    summary_.refused.captures = plan.refused;
    summary_.alreadyThere.captures = plan.repeated;
    for (const PlannedBatch& batch : plan.batches) {
      loadBatch(batch);
      ++batch_;
    }
    delivery_.finish();
    summary_.written = delivery_.written();
    summary_.spooled = delivery_.spooled();
    summary_.hasSpool = delivery_.hasSpool();
    summary_.read.records = summary_.written.records + summary_.spooled.records + summary_.alreadyThere.records;
    return summary_;
  }

private:
  // Once a shard has not answered in time, each later request to it is tried only once.
  template <class Request>
  auto askPatiently(Request request) {
    constexpr auto pause = std::chrono::milliseconds(500);
    const auto end = std::chrono::steady_clock::now() + options_.delivery.patience;
    for (;;) {
      try {
        return clients_[shard_].attempt(request);
      } catch (const ConnectionError&) {
        giveUpAfter(end);
      } catch (const ServerError&) {
        giveUpAfter(end);
      }
      std::this_thread::sleep_for(pause);
    }
  }

  void loadBatch(const PlannedBatch& batch) {
    shard_ = batch.shard;
    const Present present = ask(batch);
    expected_.clear();
    complete_ = 0;
    for (const PlannedDevice& device : batch.devices) {
      loadDevice(device, present);
    }
    sendRecords();
    // The rows of `captures` come last: they say that all other rows are there.
    std::map<std::string, std::string> others = std::exchange(others_, {});
    for (auto& [table, rows] : others) {
      if (table != captures_.name) {
        send(table, std::move(rows), 0, 0);
      }
    }
    if (complete_ != 0) {
      SpoolEntry check{SpoolEntry::Kind::check, static_cast<std::uint32_t>(shard_), batch_, 0, 0, {}, {}};
      check.rows = encodeCounts(expected_);
      delivery_.send(std::move(check));
      send(captures_.name, std::move(others[captures_.name]), 0, complete_);
    }
  }

  // A shard that does not answer is treated as empty: what is sent to it goes to the spool.
  Present ask(const PlannedBatch& batch) {
    std::vector<std::string> devices;
    for (const PlannedDevice& device : batch.devices) {
      devices.push_back(device.device);
    }
    const std::string among = amongDevices(devices);
    try {
      return askPatiently([&](Http& http) {
        return Present{askCounts(http, fmt::format("SELECT device, capture, max(records) FROM {} WHERE {} GROUP BY "
                                                   "device, capture",
                                                   captures_.storedName(), among)),
                       askCounts(http, fmt::format("SELECT device, capture, count() FROM {} WHERE {} GROUP BY device, "
                                                   "capture",
                                                   records_.storedName(), among))};
      });
    } catch (const ConnectionError&) {
      return {};
    }
  }

  void loadDevice(const PlannedDevice& device, const Present& present) {
    std::vector<DeviceCapture> captures;
    std::set<std::string> ids;
    for (const PlannedCapture& capture : device.captures) {
      const auto complete = present.complete.find({device.device, capture.id});
      if (complete != present.complete.end()) {
        ++summary_.alreadyThere.captures;
        summary_.alreadyThere.records += complete->second;
        repair(device.device, capture.id, complete->second, present);
        continue;
      }
      const Origin& origin = capture.listed.origin;
      captures.push_back({capture.listed.path, origin.build, origin.lot, capture.id});
      ids.insert(capture.id);
    }
    if (!captures.empty()) {
      readDevice(device, captures, present.hasOthers(device, ids));
    }
  }

  // Has the duplicate rows of a complete capture removed. They are there if another load completed the capture while an
  // earlier attempt of this one wrote the same rows.
  void repair(const std::string& device, const std::string& capture, std::uint64_t records, const Present& present) {
    const auto rows = present.rows.find({device, capture});
    if (rows != present.rows.end() && rows->second > records) {
      expected_[records_.name][{device, capture}] = records;
      SpoolEntry check{SpoolEntry::Kind::check, static_cast<std::uint32_t>(shard_), batch_, 0, 0, {}, {}};
      check.rows = encodeCounts({{records_.name, {{{device, capture}, records}}}});
      delivery_.send(std::move(check));
    }
  }

  void readDevice(const PlannedDevice& device, std::vector<DeviceCapture>& captures, bool hasOthers) {
    DeviceRows rows(device.device, captures, options_.complain);
    if (hasOthers) {
      leaveOutKnown(rows, device.device, captures);
    }
    for (;;) {
      if (block_.capacity() == 0) {
        block_ = delivery_.room();
      }
      const std::size_t added = rows.addRecords(block_, blockRecords - inBlock_);
      inBlock_ += added;
      recordsRead_ += added;
      options_.progress(recordsRead_, bytesBefore_ + rows.bytesRead());
      if (added == 0) {
        break;
      }
      if (inBlock_ == blockRecords) {
        sendRecords();
      }
    }
    rows.addOthers([&](const StoredTable& table, const DeviceCapture& capture, std::string_view row) {
      others_[table.name] += row;
      ++expected_[table.name][{device.device, capture.id}];
    });
    for (const DeviceCapture& capture : captures) {
      if (capture.isRead) {
        ++complete_;
        expected_[records_.name][{device.device, capture.id}] = capture.records;
      } else {
        --summary_.read.captures;
        ++summary_.refused.captures;
      }
    }
    expected_.erase(captures_.name);
    bytesBefore_ += rows.bytesRead();
    summary_.alreadyThere.records += rows.recordsLeftOut();
    summary_.refused.records += rows.refusedRecords();
    flushOthers();
  }

  // Leaves out records that are already stored: captures of a device at different times have records in common.
  void leaveOutKnown(DeviceRows& rows, const std::string& device, const std::vector<DeviceCapture>& captures) {
    const DeviceRows::Shared shared = rows.shared();
    if (shared.records.empty()) {
      return;
    }
    std::vector<std::string> own;
    own.reserve(captures.size());
    for (const DeviceCapture& capture : captures) {
      own.push_back(capture.id);
    }
    askPatiently([&](Http& http) { rows.leaveOut(knownRecords(http, device, own, shared)); });
  }

  // Rethrows the current exception if the time is up. To be called in an exception's handler.
  void giveUpAfter(std::chrono::steady_clock::time_point end) {
    if (silent_.contains(shard_) || std::chrono::steady_clock::now() >= end) {
      silent_.insert(shard_);
      throw;
    }
  }

  std::set<RecordBytes> knownRecords(Http& http, const std::string& device, const std::vector<std::string>& captures,
                                     const DeviceRows::Shared& shared) const {
    std::set<RecordBytes> known;
    RecordBytes bytes;
    std::size_t begun = 0;
    http.run(knownStatement(device, captures, shared),
             [&](std::string_view piece) {
               while (!piece.empty()) {
                 const std::size_t taken = std::min(piece.size(), bytes.size() - begun);
                 std::memcpy(bytes.data() + begun, piece.data(), taken);
                 piece.remove_prefix(taken);
                 begun = (begun + taken) % bytes.size();
                 if (begun == 0 && shared.records.contains(bytes)) {
                   known.insert(bytes);
                 }
               }
             },
             {{"wait_end_of_query", "0"}});
    return known;
  }

  // In RowBinary, the columns from type_id to payload are the 48 bytes of the record.
  std::string knownStatement(const std::string& device, const std::vector<std::string>& captures,
                             const DeviceRows::Shared& shared) const {
    std::string columns;
    for (const StoredColumn& column : records_.columns) {
      if (!columns.empty() || column.name == "type_id") {
        columns += (columns.empty() ? "" : ", ") + column.name;
      }
    }
    return fmt::format("SELECT {} FROM {} WHERE {} AND NOT {} AND timestamp BETWEEN {} AND {} FORMAT RowBinary",
                       columns, records_.storedName(), amongDevices({device}), amongCaptures(captures),
                       shared.firstTime, shared.lastTime);
  }

  void sendRecords() {
    if (inBlock_ != 0) {
      send(records_.name, std::move(block_), inBlock_, 0);
    }
    block_ = {};
    inBlock_ = 0;
  }

  // Tables that have grown large are sent before the batch's end, except for `captures`, which must come last.
  void flushOthers() {
    for (auto& [table, rows] : others_) {
      if (table != captures_.name && rows.size() >= blockBytes) {
        send(table, std::exchange(rows, {}), 0, 0);
      }
    }
  }

  void send(const std::string& table, std::string rows, std::uint64_t records, std::uint64_t captures) {
    if (!rows.empty()) {
      delivery_.send({SpoolEntry::Kind::rows, static_cast<std::uint32_t>(shard_), batch_, records, captures, table,
                      std::move(rows)});
    }
  }

  const LoadOptions& options_;
  Delivery delivery_;
  const StoredTable& records_;
  const StoredTable& captures_;
  std::vector<ShardClient> clients_;
  std::set<std::size_t> silent_; // shards that did not answer in time
  LoadSummary summary_;

  std::uint32_t batch_ = 0;
  std::size_t shard_ = 0;
  std::string block_; // rows of `records`
  std::size_t inBlock_ = 0;
  std::map<std::string, std::string> others_; // rows of the other tables
  TableCounts expected_;                      // the rows of each capture in the batch
  std::uint64_t complete_ = 0;                // captures of the batch that were read
  std::uint64_t recordsRead_ = 0;
  std::uint64_t bytesBefore_ = 0;
};

} // namespace

LoadSummary load(Nodes& nodes, const LoadPlan& plan, const LoadOptions& options) {
  return Loader(nodes, options).load(plan);
}

LoadSummary resumeLoad(Nodes& nodes, const fs::path& spool, const LoadOptions& options) {
  SpoolReader reader(spool);
  if (reader.tables() != tablesOf(nodes)) {
    throw Error(fmt::format(
        "{}: was written for other tables, or for another number of shards: load the captures again", spool.string()));
  }
  const fs::path rest = spool.string() + ".rest";
  std::error_code ignored; // the file usually does not exist
  fs::remove(rest, ignored);
  DeliveryOptions deliveryOptions = options.delivery;
  deliveryOptions.spool = rest;
  LoadSummary summary;
  {
    Delivery delivery(nodes, std::move(deliveryOptions));
    while (std::optional<SpoolEntry> entry = reader.next()) {
      if (entry->kind == SpoolEntry::Kind::tables || entry->shard >= nodes.shards()) {
        throw Error(fmt::format("{}: damaged", spool.string()));
      }
      summary.read.records += entry->records;
      summary.read.captures += entry->captures;
      options.progress(summary.read.records, 0);
      delivery.send(std::move(*entry));
    }
    delivery.finish();
    summary.written = delivery.written();
    summary.spooled = delivery.spooled();
    summary.hasSpool = delivery.hasSpool();
  }
  if (reader.wasCut()) {
    options.complain(fmt::format("{}: its last entry is incomplete: load the captures again too", spool.string()));
  }
  if (fs::exists(rest, ignored)) {
    fs::rename(rest, spool);
  } else {
    fs::remove(spool);
  }
  return summary;
}

} // namespace vel::fleet
