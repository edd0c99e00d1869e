// Records to bytes in one of the output formats.
#pragma once

#include <profile/render.h>
#include <velstat/decode/output_buffer.h>

#include <cstddef>
#include <memory>
#include <string_view>

namespace vel::stat {

// [one thread at a time; as many objects as threads]
class Renderer {
public:
  virtual ~Renderer() = default;

  // Appends `count` records of 48 bytes each, lying one after the other.
  virtual void render(const unsigned char* records, std::size_t count, OutputBuffer& out) = 0;
};

// The text of each record as it stands.
std::unique_ptr<Renderer> makeTextRenderer(const profile::TimePolicy& times, profile::Framing framing);
// One line a record, with every byte that is not printable escaped.
std::unique_ptr<Renderer> makeEscapedTextRenderer(const profile::TimePolicy& times);
// One JSON object a line.
std::unique_ptr<Renderer> makeJsonRenderer(const profile::TimePolicy& times);
// One line of comma-separated values a record, without the header line.
std::unique_ptr<Renderer> makeCsvRenderer(const profile::TimePolicy& times);

extern const std::string_view csvHeader; // with its newline

} // namespace vel::stat
