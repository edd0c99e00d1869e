// Renders one JSON object per line.
#include <profile/wall_time.h>
#include <sources/json_fields.h>
#include <sources/record.h>
#include <sources/renderer.h>

#include <optional>

namespace vel::sources {

namespace {

class JsonRenderer final : public Renderer {
public:
  explicit JsonRenderer(const profile::TimePolicy& times) : wall_(times.sync) {
    if (times.boot) {
      ending_.append(",\"boot-timestamp\":");
      appendJsonU64(ending_, *times.boot);
    }
    ending_.append("}\n");
  }

  void render(const unsigned char* records, std::size_t count, OutputBuffer& out) override {
    for (std::size_t i = 0; i < count; ++i) {
      renderOne(records + i * recordSize, out);
    }
  }

private:
  void renderOne(const unsigned char* record, OutputBuffer& out) {
    // Names come from our tables or are digits, so they need no escaping.
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
    appendJsonU64(out, timeStamp(record));
    out.append(",\"sequence_num\":");
    out.appendNumber(sequenceNumber(record));
    out.append(",\"payload\":");
    appendJsonPayload(out, record);
    out.append(",\"type-id\":");
    out.appendNumber(profile::type(record));
    out.append(",\"category-id\":");
    out.appendNumber(profile::category(record));
    out.append(",\"component-id\":");
    out.appendNumber(profile::component(record));
    out.append(",\"event-id\":");
    out.appendNumber(profile::event(record));
    out.append(",\"binary-data\":");
    appendJsonList(out, {reinterpret_cast<const char*>(record), recordSize});
    if (wall_) {
      out.append(",\"calendar-time\":\"");
      out.append(wall_->text(timeStamp(record)));
      out.append('"');
    }
    out.append(ending_.view());
  }

  std::optional<profile::WallClock> wall_;
  OutputBuffer ending_; // the same for every record
};

} // namespace

std::unique_ptr<Renderer> makeJsonRenderer(const profile::TimePolicy& times) {
  return std::make_unique<JsonRenderer>(times);
}

} // namespace vel::sources
