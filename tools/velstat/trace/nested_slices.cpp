// Only the outermost slices are kept, which are enough to place the next one.
#include "velstat/trace/nested_slices.h"

#include <algorithm>

namespace vel::stat {

bool NestedSlices::wouldChange(Slice slice) const {
  NestedSlices copy = *this;
  const Slice shown = copy.add(slice);
  return shown.begin != slice.begin || shown.end != slice.end;
}

Slice NestedSlices::add(Slice slice) {
  if (count_ != 0) {
    slice.end = std::max(slice.end, outermost_[count_ - 1].end);
  }
  slice.begin = std::min(slice.begin, slice.end);
  while (count_ != 0) {
    const Slice& last = outermost_[count_ - 1];
    if (last.begin < slice.begin) {
      if (last.end <= slice.begin) {
        break;
      }
      if (last.end - slice.begin <= slice.begin - last.begin) {
        slice.begin = last.end;
        break;
      }
      slice.begin = last.begin;
    }
    --count_; // the new slice contains it
  }
  if (count_ == remembered) {
    outermost_[0].end = outermost_[1].end;
    std::copy(outermost_.begin() + 2, outermost_.end(), outermost_.begin() + 1);
    --count_;
  }
  outermost_[count_++] = slice;
  return slice;
}

} // namespace vel::stat
