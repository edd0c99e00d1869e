// A record's row is its capture's columns and then its bytes; the rows of the small tables come from velstat query.
#include "fleet/device_rows.h"

#include <fleet/row_binary.h>
#include <profile/record_view.h>
#include <query/database.h>
#include <sources/record.h>

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <thread>

namespace vel::fleet {

namespace {

using query::ValueType;
using sources::Details;
using sources::Location;
using sources::recordSize;

constexpr std::size_t recordsAtOnce = 1024;
constexpr std::uint64_t microsecondsADay = 86'400'000'000;

static_assert(sizeof(RecordBytes) == recordSize);

// A report of profile records is a list of lines. Their records are stored; the lines would take four times the space.
constexpr const char* valuesBesideRecords = " WHERE coalesce(report, '') NOT GLOB 'KIP Profile *' OR type <> 'string'";

std::vector<std::string> pathsOf(const std::vector<DeviceCapture>& captures) {
  std::vector<std::string> paths;
  paths.reserve(captures.size());
  for (const DeviceCapture& capture : captures) {
    paths.push_back(capture.path);
  }
  return paths;
}

template <class Number>
char* put(char* to, Number value) {
  std::memcpy(to, &value, sizeof value);
  return to + sizeof value;
}

// The largest size of a record's row after the columns of its capture.
constexpr std::size_t longestTail = 1 + 8 + 4 + 4 + 4 + 8 + recordSize;

// Writes the columns of `records` after those of the capture, in the order of the table. Returns the end.
char* putRecord(char* to, const unsigned char* record, const Details& details) {
  *to++ = details.calendar ? '\0' : '\1';
  if (details.calendar) {
    to = put(to, static_cast<std::uint64_t>(*details.calendar - profile::timestamp(record)));
  }
  to = put(to, details.run);
  to = put(to, details.missing);
  to = put(to, details.location.report);
  to = put(to, details.location.at);
  std::memcpy(to, record, recordSize);
  return to + recordSize;
}

// Adds an SQL value to a Nullable column: NULL if it does not fit the column's type.
void addValue(RowBinary& row, const std::string& type, const query::Statement& from, std::size_t column) {
  const ValueType found = from.type(column);
  const bool isText = type == "Nullable(String)";
  const bool isNumber = found == ValueType::integer || found == ValueType::real;
  const bool fits = isText || found == ValueType::integer || (isNumber && type == "Nullable(Float64)") ||
                    (found == ValueType::text && type == "Nullable(UInt64)");
  if (found == ValueType::null || !fits) {
    row.null(true);
    return;
  }
  row.null(false);
  if (isText && found == ValueType::blob) {
    const auto bytes = from.blob(column);
    row.string({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  } else if (isText) {
    row.string(from.text(column));
  } else if (type == "Nullable(Float64)") {
    row.number(from.real(column));
  } else if (found == ValueType::text) { // the digits of a number above 2^63
    row.number(static_cast<std::uint64_t>(std::strtoull(std::string(from.text(column)).c_str(), nullptr, 10)));
  } else {
    row.number(from.integer(column));
  }
}

// A stored column, and where its value comes from.
struct ColumnSource {
  enum class From : std::uint8_t { start, row, query, typed };
  From from = From::query;
  std::size_t column = 0; // of captureColumns(), or of the query
};

// A column such as `value_number` gets the value of `value`, if that is a number.
std::vector<ColumnSource> columnSources(const StoredTable& table, const query::Statement& rows) {
  using From = ColumnSource::From;
  const auto inQuery = [&](std::string_view name) {
    for (std::size_t i = 0; i < rows.columns(); ++i) {
      if (rows.name(i) == name) {
        return std::optional(i);
      }
    }
    return std::optional<std::size_t>();
  };
  std::vector<ColumnSource> columns;
  for (const StoredColumn& column : table.columns) {
    const auto& shared = captureColumns();
    const auto same =
        std::find_if(shared.begin(), shared.end(), [&](const auto& each) { return each.name == column.name; });
    if (const auto found = inQuery(column.name)) {
      columns.push_back({From::query, *found});
    } else if (same != shared.end()) {
      columns.push_back({From::start, static_cast<std::size_t>(same - shared.begin())});
    } else if (column.name == "row") {
      columns.push_back({From::row, 0});
    } else if (const auto base = inQuery(column.name.substr(0, column.name.rfind('_')))) {
      columns.push_back({From::typed, *base});
    } else {
      throw Error(fmt::format("the column {}.{} has no source", table.name, column.name));
    }
  }
  return columns;
}

} // namespace

DeviceRows::DeviceRows(const std::string& device, std::vector<DeviceCapture>& captures,
                       std::function<void(std::string_view line)> complain)
    : device_(device), captures_(captures),
      sources_(pathsOf(captures),
               {.jobs = std::clamp(std::thread::hardware_concurrency(), 1U, 64U), .complain = std::move(complain)}),
      block_(recordsAtOnce * recordSize), details_(recordsAtOnce) {
  for (std::size_t i = 0; i < captures_.size(); ++i) {
    captures_[i].isRead = sources_.inputs()[i].kind != sources::Kind::unknown;
  }
}

DeviceRows::Shared DeviceRows::shared() {
  Shared shared;
  const auto& inputs = sources_.inputs();
  if (std::all_of(inputs.begin(), inputs.end(), [](const auto& input) { return input.capture.reports.empty(); })) {
    return shared; // without reading what may be many raw records
  }
  const auto stream = sources_.records();
  while (const std::size_t count = stream->read(block_, details_)) {
    for (std::size_t i = 0; i < count; ++i) {
      if (details_[i].location.report == Location::noReport) {
        continue;
      }
      const unsigned char* const record = block_.data() + i * recordSize;
      const std::uint64_t time = profile::timestamp(record);
      shared.firstTime = std::min(shared.firstTime, time);
      shared.lastTime = std::max(shared.lastTime, time);
      RecordBytes bytes;
      std::memcpy(bytes.data(), record, recordSize);
      shared.records.insert(bytes);
    }
  }
  return shared;
}

// Encodes the columns that all tables begin with, in the order of captureColumns().
void DeviceRows::begin(DeviceCapture& capture, const sources::InputInfo& input, const Details& first) {
  std::optional<std::uint64_t> boot;
  if (!input.capture.clocks.empty()) {
    boot = input.capture.clocks.front().boot;
  }
  const std::uint64_t day = first.calendar.value_or(boot.value_or(0)) / microsecondsADay;
  const auto value = [](auto write) {
    RowBinary row;
    write(row);
    return row.take();
  };
  capture.columns = {
      value([&](RowBinary& row) { row.string(device_); }),
      value([&](RowBinary& row) { row.string(capture.build); }),
      value([&](RowBinary& row) { row.string(capture.lot); }),
      value([&](RowBinary& row) { row.string(capture.id); }),
      value([&](RowBinary& row) { row.optional(boot); }),
      value([&](RowBinary& row) { row.number(static_cast<std::uint16_t>(std::min<std::uint64_t>(day, 0xffff))); }),
  };
  for (const std::string& column : capture.columns) {
    capture.start += column;
  }
}

std::size_t DeviceRows::addRecords(std::string& rows, std::size_t most) {
  if (stream_ == nullptr) {
    stream_ = sources_.records();
  }
  std::size_t added = 0;
  while (added < most) {
    const std::size_t wanted = std::min(most - added, recordsAtOnce);
    const std::size_t count = stream_->read({block_.data(), wanted * recordSize}, details_);
    if (count == 0) {
      break;
    }
    for (std::size_t i = 0; i < count; ++i) {
      const unsigned char* const record = block_.data() + i * recordSize;
      const Details& details = details_[i];
      DeviceCapture& capture = captures_[details.location.input];
      if (capture.start.empty()) {
        begin(capture, sources_.inputs()[details.location.input], details);
      }
      if (!leftOut_.empty() && details.location.report != Location::noReport) {
        RecordBytes bytes;
        std::memcpy(bytes.data(), record, recordSize);
        if (leftOut_.contains(bytes)) {
          ++recordsLeftOut_;
          continue;
        }
      }
      if (details.calendar) {
        capture.firstCalendar = std::min(capture.firstCalendar.value_or(*details.calendar), *details.calendar);
        capture.lastCalendar = std::max(capture.lastCalendar.value_or(*details.calendar), *details.calendar);
      }
      char tail[longestTail];
      const char* const end = putRecord(tail, record, details);
      rows.append(capture.start);
      rows.append(tail, static_cast<std::size_t>(end - tail));
      ++capture.records;
      ++added;
    }
  }
  return added;
}

void DeviceRows::addOthers(const AddRow& add) {
  std::map<std::string, DeviceCapture*> byName;
  for (std::size_t i = 0; i < captures_.size(); ++i) {
    const sources::InputInfo& input = sources_.inputs()[i];
    captures_[i].isRead = input.kind != sources::Kind::unknown; // it may have failed since
    if (captures_[i].isRead && captures_[i].start.empty()) {    // it has no records of its own
      begin(captures_[i], input, {});
    }
    byName[input.name] = &captures_[i];
  }
  query::Database database(sources_, {.time = std::chrono::milliseconds(0)});
  if (stream_ != nullptr) {
    database.tellReading(stream_->findings(), stream_->runs());
  }
  for (const StoredTable& table : storedTables()) {
    if (table.name == "captures") {
      addCaptures(table, add);
    } else if (table.name != "records") {
      query::Statement rows = database.prepare(
          fmt::format("SELECT * FROM {}{}", table.name, table.name == "state" ? valuesBesideRecords : ""));
      addTable(table, rows, byName, add);
    }
  }
}

void DeviceRows::addTable(const StoredTable& table, query::Statement& rows,
                          const std::map<std::string, DeviceCapture*>& byName, const AddRow& add) {
  using From = ColumnSource::From;
  const std::vector<ColumnSource> columns = columnSources(table, rows);
  std::size_t source = 0;
  while (source < rows.columns() && rows.name(source) != "source") {
    ++source;
  }
  std::map<const DeviceCapture*, std::uint32_t> numbers;
  RowBinary row;
  while (rows.step()) {
    const auto found = byName.find(std::string(rows.text(source)));
    if (found == byName.end() || !found->second->isRead) {
      continue;
    }
    const DeviceCapture& capture = *found->second;
    row.clear();
    for (std::size_t i = 0; i < columns.size(); ++i) {
      switch (columns[i].from) {
      case From::start:
        row.bytes(capture.columns[columns[i].column]);
        break;
      case From::row:
        row.number(numbers[&capture]++);
        break;
      case From::query:
      case From::typed:
        addValue(row, table.columns[i].type, rows, columns[i].column);
        break;
      }
    }
    add(table, capture, row.view());
  }
}

// Values in the order of the table's columns in the schema.
void DeviceRows::addCaptures(const StoredTable& table, const AddRow& add) {
  for (std::size_t i = 0; i < captures_.size(); ++i) {
    const DeviceCapture& capture = captures_[i];
    if (!capture.isRead) {
      continue;
    }
    const sources::InputInfo& input = sources_.inputs()[i];
    RowBinary row;
    row.bytes(capture.start);
    row.string(input.name);
    row.string(sources::kindName(input.kind));
    row.string(input.capture.version);
    row.string(input.capture.device);
    row.string(input.capture.model);
    row.number(capture.records);
    row.optional(capture.firstCalendar);
    row.optional(capture.lastCalendar);
    add(table, capture, row.view());
  }
}

std::uint64_t DeviceRows::refusedRecords() const {
  std::uint64_t lines = 0;
  const auto count = [&](const std::vector<sources::Finding>& findings) {
    for (const sources::Finding& finding : findings) {
      const bool gaveNone =
          finding.kind == sources::FindingKind::damaged || finding.kind == sources::FindingKind::truncated;
      lines += gaveNone ? finding.count : 0;
    }
  };
  count(sources_.findings());
  if (stream_ != nullptr) {
    count(stream_->findings());
  }
  return lines;
}

} // namespace vel::fleet
