// Counts the allocations of a benchmark, both in C++ and in C.
#pragma once

#include <cstdint>

namespace vel::bench {

// Calls of malloc, calloc and realloc by this thread so far; operator new calls them too.
std::uint64_t allocations();

} // namespace vel::bench
