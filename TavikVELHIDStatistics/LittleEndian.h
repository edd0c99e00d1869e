// Whoever lays a struct over bytes of the co-processor includes this: they are little-endian and read as they stand.
#pragma once

#include <bit>

static_assert(std::endian::native == std::endian::little);
