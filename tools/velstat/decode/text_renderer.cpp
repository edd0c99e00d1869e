// The text of each record, exact or escaped for a terminal, and the record itself.
#include <sources/record.h>
#include <velstat/decode/text_renderer.h>
#include <velstat/text/escape.h>

#include <cstdint>

namespace vel::stat {

namespace {

using sources::OutputBuffer;
using sources::recordSize;

class TextRenderer final : public sources::Renderer {
public:
  TextRenderer(const profile::TimePolicy& times, profile::Framing framing) : engine_(times, framing) {}

  void render(const unsigned char* records, std::size_t count, OutputBuffer& out) override {
    out.claim(engine_.render(records, count, out.room(count * profile::frame_capacity)));
  }

private:
  profile::BulkRenderer engine_;
};

// For a terminal, where speed does not matter.
class EscapedTextRenderer final : public sources::Renderer {
public:
  explicit EscapedTextRenderer(const profile::TimePolicy& times) : engine_(times, profile::Framing::none) {}

  void render(const unsigned char* records, std::size_t count, OutputBuffer& out) override {
    char text[profile::frame_capacity];
    for (std::size_t i = 0; i < count; ++i) {
      const std::size_t length = engine_.render(records + i * recordSize, 1, text);
      out.append(escape({text, length}));
      out.append('\n');
    }
  }

private:
  profile::BulkRenderer engine_;
};

class RawRenderer final : public sources::Renderer {
public:
  void render(const unsigned char* records, std::size_t count, OutputBuffer& out) override {
    out.append({reinterpret_cast<const char*>(records), count * recordSize});
  }
};

} // namespace

std::unique_ptr<sources::Renderer> makeRawRenderer() {
  return std::make_unique<RawRenderer>();
}

std::unique_ptr<sources::Renderer> makeTextRenderer(const profile::TimePolicy& times, profile::Framing framing) {
  return std::make_unique<TextRenderer>(times, framing);
}

std::unique_ptr<sources::Renderer> makeEscapedTextRenderer(const profile::TimePolicy& times) {
  return std::make_unique<EscapedTextRenderer>(times);
}

} // namespace vel::stat
