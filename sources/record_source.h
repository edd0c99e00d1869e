// Splits the bytes of an input into whole records, and reports damage. [one thread at a time]
#pragma once

#include <sources/input.h>

#include <cstdint>
#include <memory>
#include <span>

namespace vel::sources {

class RecordSource {
public:
  virtual ~RecordSource() = default;

  // Fills `out`, which has room for at least one record, with whole records of 48 bytes and returns their number. Only
  // 0 means the end. If `offsets` is not empty, it has an element for each record that fits, and receives the record's
  // offset in the file.
  virtual std::size_t read(std::span<unsigned char> out, std::span<std::uint64_t> offsets = {}) = 0;
};

// Both functions below read the file that `input` has open.

// The file is a sequence of records; an incomplete one at its end is damage.
std::unique_ptr<RecordSource> makePlainSource(Input& input, Complaints& complaints);

// Continues after damage at the next place where several records agree; see recovery.h.
std::unique_ptr<RecordSource> makeRecoveringSource(Input& input, Complaints& complaints);

} // namespace vel::sources
