// Keeps the slices of a track nested: viewers drop or shorten slices that partly overlap another one.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace vel::stat {

struct Slice {
  std::uint64_t begin = 0;
  std::uint64_t end = 0;
};

// Calls are recorded when they end, so the innermost one comes first. Durations are whole microseconds and exclude the
// time of recording, so slices may partly overlap: such a slice then begins where the earlier one begins or ends,
// whichever is nearer. Memory is constant: if there are more than `remembered` outermost calls, the oldest two are
// joined.
class NestedSlices {
public:
  static constexpr std::size_t remembered = 32;

  // Whether add() would change the slice.
  bool wouldChange(Slice slice) const;
  // The slice to show. Records may be a little out of order: a slice that ends before the last one is made to end with
  // it.
  Slice add(Slice slice);

private:
  std::array<Slice, remembered> outermost_; // in order, without overlaps
  std::size_t count_ = 0;
};

} // namespace vel::stat
