// One line of comma-separated values for each record: the same columns in every file, the payload as a JSON column or
// in the columns of one layout.
#include <profile/wall_time.h>
#include <sources/json_fields.h>
#include <sources/plain_fields.h>
#include <sources/record.h>
#include <sources/renderer.h>

#include <fmt/format.h>

#include <algorithm>
#include <optional>

namespace vel::sources {

namespace {

constexpr std::string_view payload = "payload";

class CsvRenderer final : public Renderer {
public:
  CsvRenderer(const profile::TimePolicy& times, const profile::Layout* columns) : columns_(columns), wall_(times.sync) {
    ending_.append(',');
    if (times.boot) {
      ending_.appendNumber(*times.boot);
    }
    ending_.append('\n');
  }

  void render(const unsigned char* records, std::size_t count, OutputBuffer& out) override {
    for (std::size_t i = 0; i < count; ++i) {
      renderOne(records + i * recordSize, out);
    }
  }

private:
  void renderOne(const unsigned char* record, OutputBuffer& out) {
    const RecordNames names(record); // names have no commas or quotation marks, so they need no quotes
    for (const std::string_view name : {names.category, names.component, names.event, names.type}) {
      out.append(name);
      out.append(',');
    }
    out.appendNumber(timeStamp(record));
    out.append(',');
    out.appendNumber(sequenceNumber(record));
    out.append(',');
    appendPayload(out, record);
    for (const unsigned id :
         {profile::type(record), profile::category(record), profile::component(record), profile::event(record)}) {
      out.append(',');
      out.appendNumber(id);
    }
    out.append(',');
    appendHex(out, {reinterpret_cast<const char*>(record), recordSize});
    out.append(',');
    if (wall_) {
      out.append(wall_->text(timeStamp(record)));
    }
    out.append(ending_.view());
  }

  // The payload as one JSON column, or as a column for each field of a layout.
  void appendPayload(OutputBuffer& out, const unsigned char* record) {
    payload_.clear();
    if (columns_ == nullptr) {
      appendJsonPayload(payload_, record);
      appendCsvQuoted(out, payload_.view());
      return;
    }
    const char* separator = "";
    for (const profile::Row& row : columns_->rows) {
      out.append(separator);
      separator = ",";
      profile::DecimalText digits;
      payload_.clear();
      appendPlainField(payload_, read_field(record, row, digits));
      appendCsvCell(out, payload_.view());
    }
  }

  const profile::Layout* columns_;
  std::optional<profile::WallClock> wall_;
  OutputBuffer payload_;
  OutputBuffer ending_;
};

} // namespace

const std::string_view csvHeader = "category,component,event,type,timestamp,sequence_num,payload,"
                                   "type-id,category-id,component-id,event-id,binary-data,"
                                   "calendar-time,boot-timestamp\n";

std::string_view csvHeaderBeginning() {
  return csvHeader.substr(0, csvHeader.find(payload));
}

std::string_view csvHeaderEnding() {
  const std::size_t begin = csvHeader.find(payload) + payload.size();
  return csvHeader.substr(begin, csvHeader.size() - 1 - begin);
}

std::string csvHeaderWith(const profile::Layout* columns) {
  std::string keys(columns == nullptr ? payload : "");
  if (columns != nullptr) {
    for (const profile::Row& row : columns->rows) {
      keys += keys.empty() ? "" : ",";
      keys += row.key;
    }
  }
  return fmt::format("{}{}{}\n", csvHeaderBeginning(), keys, csvHeaderEnding());
}

std::unique_ptr<Renderer> makeCsvRenderer(const profile::TimePolicy& times, const profile::Layout* columns) {
  return std::make_unique<CsvRenderer>(times, columns);
}

} // namespace vel::sources
