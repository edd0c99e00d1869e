// Which decoder objects are our own, of exactly the class that the registry gives a category.
#pragma once

#include "profile/profile_decoder.h"

namespace vel::profile {

// True if the decoder is the registry's own for this category. What its virtual members would answer is then known to
// stand in our tables and need not be copied into strings; every other object is asked through its slots.
bool is_own_decoder(const profile_decoder* decoder, unsigned category) noexcept;

} // namespace vel::profile
