// Counting and merging in SQL.
#include "fleet/row_counts.h"

#include <fleet/row_binary.h>
#include <fleet/row_reader.h>
#include <fleet/schema.h>
#include <fleet/sql_text.h>

#include <fmt/format.h>

#include <algorithm>

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
    storedTable(table); // or it throws
    counts[std::string(table)][{std::string(device), std::string(capture)}] = rows.number<std::uint64_t>();
  }
  return counts;
}

void removeDoubles(Http& http, const TableCounts& expected) {
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
