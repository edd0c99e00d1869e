// One line of comma-separated values for each record: the same columns in every file, the payload as a JSON column.
#include <profile/wall_time.h>
#include <sources/json_fields.h>
#include <sources/record.h>
#include <sources/renderer.h>

#include <algorithm>
#include <optional>

namespace vel::sources {

namespace {

class CsvRenderer final : public Renderer {
public:
  explicit CsvRenderer(const profile::TimePolicy& times) : wall_(times.sync) {
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
    payload_.clear();
    appendJsonPayload(payload_, record);
    appendQuoted(out, payload_.view());
    for (const unsigned id :
         {profile::type(record), profile::category(record), profile::component(record), profile::event(record)}) {
      out.append(',');
      out.appendNumber(id);
    }
    out.append(',');
    appendHex(out, record);
    out.append(',');
    if (wall_) {
      out.append(wall_->text(timeStamp(record)));
    }
    out.append(ending_.view());
  }

  static void appendQuoted(OutputBuffer& out, std::string_view text) {
    char* const begin = out.room(text.size() * 2 + 2);
    char* p = begin;
    *p++ = '"';
    for (const char character : text) {
      *p++ = character;
      if (character == '"') {
        *p++ = character;
      }
    }
    *p++ = '"';
    out.claim(static_cast<std::size_t>(p - begin));
  }

  static void appendHex(OutputBuffer& out, const unsigned char* record) {
    constexpr char digits[] = "0123456789abcdef";
    char* p = out.room(recordSize * 2);
    for (std::size_t i = 0; i < recordSize; ++i) {
      *p++ = digits[record[i] >> 4];
      *p++ = digits[record[i] & 15];
    }
    out.claim(recordSize * 2);
  }

  std::optional<profile::WallClock> wall_;
  OutputBuffer payload_;
  OutputBuffer ending_;
};

} // namespace

const std::string_view csvHeader = "category,component,event,type,timestamp,sequence_num,payload,"
                                   "type-id,category-id,component-id,event-id,binary-data,"
                                   "calendar-time,boot-timestamp\n";

std::unique_ptr<Renderer> makeCsvRenderer(const profile::TimePolicy& times) {
  return std::make_unique<CsvRenderer>(times);
}

} // namespace vel::sources
