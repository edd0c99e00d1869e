// Counts rows and removes duplicates with SQL.
#include "fleet/row_counts.h"

#include <fleet/row_binary.h>
#include <fleet/row_reader.h>
#include <fleet/schema.h>
#include <fleet/sql_text.h>

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <thread>

namespace vel::fleet {

namespace {

constexpr std::size_t longestAnswer = std::size_t{1} << 28;
// Lists of devices make long statements.
const Settings longStatement = {
    {"max_query_size", "1000000000"}, {"max_ast_elements", "10000000"}, {"max_expanded_ast_elements", "10000000"}};

std::vector<std::string> devicesOf(const CaptureCounts& counts) {
  std::vector<std::string> devices;
  for (const auto& [key, count] : counts) {
    if (devices.empty() || devices.back() != key.device) {
      devices.push_back(key.device);
    }
  }
  return devices;
}

std::string among(std::string_view column, const std::vector<std::string>& values) {
  std::string list;
  for (const std::string& value : values) {
    list += (list.empty() ? "" : ", ") + textLiteral(value);
  }
  return fmt::format("{} IN ({})", column, list);
}

bool hasDoubles(const CaptureCounts& found, const CaptureCounts& expected) {
  return std::any_of(found.begin(), found.end(), [&](const auto& each) {
    const auto sent = expected.find(each.first);
    return sent != expected.end() && each.second > sent->second;
  });
}

bool hasRows(std::string_view storedName, const TableCounts& expected) {
  return std::any_of(expected.begin(), expected.end(), [&](const auto& each) {
    return storedTable(each.first).storedName() == storedName &&
           std::any_of(each.second.begin(), each.second.end(), [](const auto& count) { return count.second != 0; });
  });
}

// Waits until the replica has the blocks that its shard had when this was called: a block that another replica took
// just now may hold the same rows. It waits only for a limited time, as a block may be only on a replica that is down.
void awaitBlocks(Http& http, const TableCounts& expected) {
  constexpr auto patience = std::chrono::seconds(10);
  constexpr auto pause = std::chrono::milliseconds(50);
  const std::string known = http.ask("SELECT table, toUInt64(log_max_index), toUInt64(toUInt32(now())) FROM "
                                     "system.replicas WHERE database = currentDatabase() FORMAT RowBinary");
  std::string behind;
  for (RowReader rows(known); !rows.atEnd();) {
    const std::string_view name = rows.string();
    const auto last = rows.number<std::uint64_t>();
    const auto now = rows.number<std::uint64_t>();
    // A table without any block would look as if its replica were behind.
    if (!hasRows(name, expected)) {
      continue;
    }
    const std::string table = textLiteral(name);
    behind += fmt::format("{}(table = {} AND (log_pointer <= {} OR (inserts_in_queue > 0 AND "
                          "toUInt32(inserts_oldest_time) <= {})))",
                          behind.empty() ? "" : " OR ", table, last, now);
  }
  if (behind.empty()) {
    return;
  }
  const std::string question =
      fmt::format("SELECT count() FROM system.replicas WHERE database = currentDatabase() AND ({})", behind);
  const auto end = std::chrono::steady_clock::now() + patience;
  while (http.ask(question) != "0\n" && std::chrono::steady_clock::now() < end) {
    std::this_thread::sleep_for(pause);
  }
}

} // namespace

std::string amongDevices(const std::vector<std::string>& devices) {
  return among("device", devices);
}

std::string amongCaptures(const std::vector<std::string>& captures) {
  return among("capture", captures);
}

CaptureCounts askCounts(Http& http, const std::string& select) {
  const std::string answer = http.ask(select + " FORMAT RowBinary", longStatement, longestAnswer);
  CaptureCounts counts;
  for (RowReader rows(answer); !rows.atEnd();) {
    const std::string_view device = rows.string();
    const std::string_view capture = rows.string();
    counts[{std::string(device), std::string(capture)}] = rows.number<std::uint64_t>();
  }
  return counts;
}

std::string encodeCounts(const TableCounts& counts) {
  RowBinary bytes;
  for (const auto& [table, captures] : counts) {
    for (const auto& [key, count] : captures) {
      bytes.string(table);
      bytes.string(key.device);
      bytes.string(key.capture);
      bytes.number(count);
    }
  }
  return bytes.take();
}

TableCounts decodeCounts(std::string_view bytes) {
  TableCounts counts;
  for (RowReader rows(bytes); !rows.atEnd();) {
    const std::string_view table = rows.string();
    const std::string_view device = rows.string();
    const std::string_view capture = rows.string();
    storedTable(table); // throws if there is no such table
    counts[std::string(table)][{std::string(device), std::string(capture)}] = rows.number<std::uint64_t>();
  }
  return counts;
}

void removeDoubles(Http& http, const TableCounts& expected) {
  awaitBlocks(http, expected);
  for (const auto& [name, captures] : expected) {
    const std::string table = identifier(storedTable(name).storedName());
    const std::string devices = amongDevices(devicesOf(captures));
    const CaptureCounts found = askCounts(http, fmt::format("SELECT device, capture, count() FROM {} WHERE {} GROUP BY "
                                                            "device, capture",
                                                            table, devices));
    if (!hasDoubles(found, captures)) {
      continue;
    }
    // A part's name begins with the id of its partition.
    const std::string partitions = http.ask(
        fmt::format("SELECT DISTINCT splitByChar('_', _part)[1] FROM {} WHERE {} FORMAT RowBinary", table, devices),
        longStatement);
    for (RowReader rows(partitions); !rows.atEnd();) {
      http.ask(fmt::format("OPTIMIZE TABLE {} PARTITION ID {} FINAL", table, textLiteral(rows.string())));
    }
  }
}

} // namespace vel::fleet
