// Renders records as the JSON and CSV lines that `velstat decode` writes. docs/velstat-decode.md describes them.
#pragma once

#include <profile/render.h>
#include <sources/output_buffer.h>

#include <cstddef>
#include <memory>
#include <string_view>

namespace vel::sources {

// [one thread at a time; as many objects as threads]
class Renderer {
public:
  virtual ~Renderer() = default;

  // Appends `count` consecutive records of 48 bytes each.
  virtual void render(const unsigned char* records, std::size_t count, OutputBuffer& out) = 0;
};

// One JSON object a line.
std::unique_ptr<Renderer> makeJsonRenderer(const profile::TimePolicy& times);
// One line of comma-separated values for each record, without the header line.
std::unique_ptr<Renderer> makeCsvRenderer(const profile::TimePolicy& times);

extern const std::string_view csvHeader; // with its newline

} // namespace vel::sources
