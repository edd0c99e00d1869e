// The rows of one device's captures, in RowBinary, as they are to be stored.
#pragma once

#include <fleet/row_counts.h>
#include <fleet/schema.h>
#include <query/database.h>
#include <sources/source.h>

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace vel::fleet {

// A capture of the device, and what was learned by reading it.
struct DeviceCapture {
  std::string path;
  std::string build;
  std::string lot;
  std::string id;

  bool isRead = false; // false: it was refused
  std::uint64_t records = 0;
  std::optional<std::uint64_t> firstCalendar = {};
  std::optional<std::uint64_t> lastCalendar = {};
  std::vector<std::string> columns = {}; // the values of captureColumns(), in RowBinary
  std::string start = {};                // `columns` joined: the beginning of each of its rows
};

using RecordBytes = std::array<unsigned char, 48>;

class DeviceRows {
public:
  // Opens the captures together, so that a record in several of them becomes one row. [borrowed: both]
  DeviceRows(const std::string& device, std::vector<DeviceCapture>& captures,
             std::function<void(std::string_view line)> complain);

  // The records that may be in other captures too, which are those of reports, and the range of their times.
  struct Shared {
    std::set<RecordBytes> records;
    std::uint64_t firstTime = ~std::uint64_t{0};
    std::uint64_t lastTime = 0;
  };
  Shared shared();
  // These records are left out, as captures that were loaded earlier have them.
  void leaveOut(std::set<RecordBytes> records) { leftOut_ = std::move(records); }

  // Appends the rows of the next records to `rows`, at most `most`. Returns how many; 0 at the end.
  std::size_t addRecords(std::string& rows, std::size_t most);
  // Passes all rows of the other tables to `add`. To be called after all records have been read.
  using AddRow = std::function<void(const StoredTable& table, const DeviceCapture& capture, std::string_view row)>;
  void addOthers(const AddRow& add);

  std::uint64_t bytesRead() const { return stream_ == nullptr ? 0 : stream_->bytesRead(); }
  std::uint64_t recordsLeftOut() const { return recordsLeftOut_; }
  // The number of lines that gave no record.
  std::uint64_t refusedRecords() const;

private:
  void begin(DeviceCapture& capture, const sources::InputInfo& input, const sources::Details& first);
  void addTable(const StoredTable& table, query::Statement& rows, const std::map<std::string, DeviceCapture*>& byName,
                const AddRow& add);
  void addCaptures(const StoredTable& table, const AddRow& add);

  const std::string& device_;
  std::vector<DeviceCapture>& captures_;
  sources::Sources sources_;
  std::unique_ptr<sources::RecordStream> stream_;
  std::set<RecordBytes> leftOut_;
  std::uint64_t recordsLeftOut_ = 0;
  std::vector<unsigned char> block_;
  std::vector<sources::Details> details_;
};

} // namespace vel::fleet
