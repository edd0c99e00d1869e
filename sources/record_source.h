// Bytes of the input as whole records, with damage reported on the way. [one thread at a time]
#pragma once

#include <sources/input.h>

#include <cstdint>
#include <memory>
#include <span>

namespace vel::sources {

class RecordSource {
public:
  virtual ~RecordSource() = default;

  // Fills `out`, which has room for at least one record, with whole records of 48 bytes; returns how many. Fewer than
  // fit do not mean the end; 0 does.
  // With `offsets`, which must be as large, also where each begins in the file.
  virtual std::size_t read(std::span<unsigned char> out, std::span<std::uint64_t> offsets = {}) = 0;
};

// Both read the open file of `input`.

// The file is a sequence of records; an incomplete one at its end is damage.
std::unique_ptr<RecordSource> makePlainSource(Input& input, Complaints& complaints);

// Continues after damage at the next place where several records agree; see recovery.h.
std::unique_ptr<RecordSource> makeRecoveringSource(Input& input, Complaints& complaints);

} // namespace vel::sources
