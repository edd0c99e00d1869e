// How much of a buffer a reply from the co-processor's side fills.
#pragma once

#include <algorithm>
#include <cstddef>

// The length is the driver's word: one above the capacity counts as the capacity.
inline size_t replyLength(size_t reported, size_t capacity) {
  return std::min(reported, capacity);
}
