// Keeps the slices of a track nested: viewers drop or shorten a slice that overlaps another one in part.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace vel::stat {

struct Slice {
  std::uint64_t begin = 0;
  std::uint64_t end = 0;
};

// Calls are recorded when they end, so the innermost one comes first. A slice that would overlap an earlier one in part
// begins where that one begins or ends, whichever is nearer: durations are whole microseconds, and exclude what
// recording takes. Constant memory: of more than `remembered` calls that no other call contains, the oldest two count
// as one.
class NestedSlices {
public:
  static constexpr std::size_t remembered = 32;

  // Whether add() would change the slice.
  bool wouldChange(Slice slice) const;
  // The slice to show. One that ends before the last one, as records may be a little out of order, ends with it.
  Slice add(Slice slice);

private:
  std::array<Slice, remembered> outermost_; // apart from each other, in order
  std::size_t count_ = 0;
};

} // namespace vel::stat
