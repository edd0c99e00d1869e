// Reads an input in blocks of whole lines, and parses them on several threads, in order.
#pragma once

#include <sources/input.h>
#include <sources/line_formats.h>
#include <sources/output_buffer.h>

#include <cstdint>
#include <memory>
#include <optional>

namespace vel::sources {

struct LineBlock {
  OutputBuffer text;
  std::uint64_t offset = 0; // of the text in the input
  std::uint64_t lines = 0;  // line breaks before it
  bool atEnd = false;
  ParsedLines parsed;
};

// [one thread at a time]
class BlockStream {
public:
  virtual ~BlockStream() = default;
  // The next block, null at the end. Rethrows exceptions of the reading threads. [borrowed: until the next call]
  virtual const LineBlock* next() = 0;
};

// With one job everything is done in next(). `input` and `cancellation` outlive the object; while it lives, only it
// may use the input. Its destructor cancels waiting reads.
std::unique_ptr<BlockStream> makeBlockStream(Input& input, Cancellation& cancellation, Kind kind,
                                             const std::optional<ClockRelation>& clock, unsigned jobs);

} // namespace vel::sources
