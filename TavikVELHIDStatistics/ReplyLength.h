// The length of a driver's reply.
#pragma once

#include <algorithm>
#include <cstddef>

// The driver may report any length; one above the capacity counts as the capacity.
inline size_t replyLength(size_t reported, size_t capacity) {
  return std::min(reported, capacity);
}
