// The text of each record, exact or fit for a terminal.
#include <velstat/decode/record_header.h>
#include <velstat/decode/renderer.h>
#include <velstat/text/escape.h>

#include <cstdint>

namespace vel::stat {

namespace {

class TextRenderer final : public Renderer {
public:
  TextRenderer(const profile::TimePolicy& times, profile::Framing framing) : engine_(times, framing) {}

  void render(const unsigned char* records, std::size_t count, OutputBuffer& out) override {
    out.claim(engine_.render(records, count, out.room(count * profile::frame_capacity)));
  }

private:
  profile::BulkRenderer engine_;
};

// For people at a terminal, who read no faster than one record at a time.
class EscapedTextRenderer final : public Renderer {
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

} // namespace

std::unique_ptr<Renderer> makeTextRenderer(const profile::TimePolicy& times, profile::Framing framing) {
  return std::make_unique<TextRenderer>(times, framing);
}

std::unique_ptr<Renderer> makeEscapedTextRenderer(const profile::TimePolicy& times) {
  return std::make_unique<EscapedTextRenderer>(times);
}

} // namespace vel::stat
