// Counts what a benchmark allocates, C++ and C alike.
#pragma once

#include <cstdint>

namespace vel::bench {

// Calls of malloc, calloc and realloc by this thread so far; operator new arrives there too.
std::uint64_t allocations();

} // namespace vel::bench
