// Renders records as the JSON and CSV lines that `velstat decode` writes. docs/velstat-decode.md describes them.
#pragma once

#include <profile/render.h>
#include <sources/field_list.h>
#include <sources/output_buffer.h>

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace vel::sources {

// [one thread at a time; as many objects as threads]
class Renderer {
public:
  virtual ~Renderer() = default;

  // Appends `count` consecutive records of 48 bytes each.
  virtual void render(const unsigned char* records, std::size_t count, OutputBuffer& out) = 0;
};

// One JSON object per line.
std::unique_ptr<Renderer> makeJsonRenderer(const profile::TimePolicy& times);
// One line of comma-separated values for each record, without the header line. With `columns`, a layout that all
// records show, the fields of that layout are columns instead of the payload.
std::unique_ptr<Renderer> makeCsvRenderer(const profile::TimePolicy& times, const profile::Layout* columns = nullptr);
// One object or line for each record, with these fields only.
std::unique_ptr<Renderer> makeJsonRenderer(const profile::TimePolicy& times, const FieldList& fields);
std::unique_ptr<Renderer> makeCsvRenderer(const profile::TimePolicy& times, const FieldList& fields);

// Header lines, with their newlines. All except those of field lists begin and end with the same columns.
extern const std::string_view csvHeader;
std::string_view csvHeaderBeginning(); // up to the payload
std::string_view csvHeaderEnding();    // after the payload, without the newline
std::string csvHeaderWith(const profile::Layout* columns);
std::string csvHeaderWith(const FieldList& fields);

} // namespace vel::sources
