// One line of comma-separated values a record: the same columns in every file, the payload as one column of JSON.
#include "json_fields.h"
#include "renderer.h"

#include <algorithm>

namespace vel::decode {

namespace {

class CsvRenderer final : public Renderer {
public:
  explicit CsvRenderer(const profile::TimePolicy& times) : wall_(times.sync) {
    ending_.append(',');
    if (times.boot) {
      ending_.append_number(*times.boot);
    }
    ending_.append('\n');
  }

  void render(const unsigned char* records, std::size_t count, OutputBuffer& out) override {
    for (std::size_t i = 0; i < count; ++i) {
      render_one(records + i * record_size, out);
    }
  }

private:
  void render_one(const unsigned char* record, OutputBuffer& out) {
    const RecordNames names(record); // without a comma or a quotation mark, so never quoted
    for (const std::string_view name : {names.category, names.component, names.event, names.type}) {
      out.append(name);
      out.append(',');
    }
    out.append_number(time_stamp(record));
    out.append(',');
    out.append_number(sequence_number(record));
    out.append(',');
    payload_.clear();
    append_json_payload(payload_, record);
    append_quoted(out, payload_.view());
    for (const unsigned id : {record[0], record[3], record[2], record[1]}) {
      out.append(',');
      out.append_number(id);
    }
    out.append(',');
    append_hex(out, record);
    out.append(',');
    out.append(wall_.text(time_stamp(record)));
    out.append(ending_.view());
  }

  static void append_quoted(OutputBuffer& out, std::string_view text) {
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

  static void append_hex(OutputBuffer& out, const unsigned char* record) {
    constexpr char digits[] = "0123456789abcdef";
    char* p = out.room(record_size * 2);
    for (std::size_t i = 0; i < record_size; ++i) {
      *p++ = digits[record[i] >> 4];
      *p++ = digits[record[i] & 15];
    }
    out.claim(record_size * 2);
  }

  WallClock wall_;
  OutputBuffer payload_;
  OutputBuffer ending_;
};

} // namespace

const std::string_view csv_header = "category,component,event,type,timestamp,sequence_num,payload,"
                                    "type-id,category-id,component-id,event-id,binary-data,"
                                    "calendar-time,boot-timestamp\n";

std::unique_ptr<Renderer> make_csv_renderer(const profile::TimePolicy& times) {
  return std::make_unique<CsvRenderer>(times);
}

} // namespace vel::decode
