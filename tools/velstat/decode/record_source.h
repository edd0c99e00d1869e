// Bytes of the input as whole records, with damage reported on the way. [one thread at a time]
#pragma once

#include <velstat/decode/input.h>

#include <memory>
#include <span>

namespace vel::stat {

class RecordSource {
public:
  virtual ~RecordSource() = default;

  // Fills `out`, which has room for at least one record, with whole records of 48 bytes; returns how many. Fewer than
  // fit do not mean the end; none do.
  virtual std::size_t read(std::span<unsigned char> out) = 0;
};

// Takes the input as it stands: records lie one after the other, and what is left at a file's end is damage.
std::unique_ptr<RecordSource> makePlainSource(Input& input, Complaints& complaints);

// Goes on after damage at the next place where several records agree; see recovery.h.
std::unique_ptr<RecordSource> makeRecoveringSource(Input& input, Complaints& complaints);

} // namespace vel::stat
