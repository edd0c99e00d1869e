// Included by code that lays a struct over the co-processor's bytes: both sides are little-endian, so nothing is
// swapped.
#pragma once

#include <bit>

static_assert(std::endian::native == std::endian::little);
