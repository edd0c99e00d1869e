// One JSON object a line.
#include "json_fields.h"
#include "renderer.h"

namespace vel::decode {

namespace {

class JsonRenderer final : public Renderer {
public:
  explicit JsonRenderer(const profile::TimePolicy& times) : wall_(times.sync) {
    if (times.boot) {
      ending_.append(",\"boot-timestamp\":");
      append_json_u64(ending_, *times.boot);
    }
    ending_.append("}\n");
  }

  void render(const unsigned char* records, std::size_t count, OutputBuffer& out) override {
    for (std::size_t i = 0; i < count; ++i) {
      render_one(records + i * record_size, out);
    }
  }

private:
  void render_one(const unsigned char* record, OutputBuffer& out) {
    // Names come from our tables or are digits: nothing in them needs escaping.
    const RecordNames names(record);
    out.append("{\"category\":\"");
    out.append(names.category);
    out.append("\",\"component\":\"");
    out.append(names.component);
    out.append("\",\"event\":\"");
    out.append(names.event);
    out.append("\",\"type\":\"");
    out.append(names.type);
    out.append("\",\"timestamp\":");
    append_json_u64(out, time_stamp(record));
    out.append(",\"sequence_num\":");
    out.append_number(sequence_number(record));
    out.append(",\"payload\":");
    append_json_payload(out, record);
    out.append(",\"type-id\":");
    out.append_number(record[0]);
    out.append(",\"category-id\":");
    out.append_number(record[3]);
    out.append(",\"component-id\":");
    out.append_number(record[2]);
    out.append(",\"event-id\":");
    out.append_number(record[1]);
    out.append(",\"binary-data\":");
    append_json_list(out, {reinterpret_cast<const char*>(record), record_size});
    if (const std::string_view wall = wall_.text(time_stamp(record)); !wall.empty()) {
      out.append(",\"calendar-time\":\"");
      out.append(wall);
      out.append('"');
    }
    out.append(ending_.view());
  }

  WallClock wall_;
  OutputBuffer ending_; // the same for every record
};

} // namespace

std::unique_ptr<Renderer> make_json_renderer(const profile::TimePolicy& times) {
  return std::make_unique<JsonRenderer>(times);
}

} // namespace vel::decode
