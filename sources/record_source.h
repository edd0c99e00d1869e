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
  // fit do not mean the end; none do.
  // With `offsets`, which has as much room, where each begins in the file.
  virtual std::size_t read(std::span<unsigned char> out, std::span<std::uint64_t> offsets = {}) = 0;
};

// Both read the file that is open in `input`.

// Takes the file as it stands: records lie one after the other, and what is left at its end is damage.
std::unique_ptr<RecordSource> makePlainSource(Input& input, Complaints& complaints);

// Goes on after damage at the next place where several records agree; see recovery.h.
std::unique_ptr<RecordSource> makeRecoveringSource(Input& input, Complaints& complaints);

} // namespace vel::sources
