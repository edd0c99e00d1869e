// Passes TallyStore's operations from the six functions to memory and to the open store.
#pragma once

#include <control/tally.h>

#include <string_view>

namespace vel::platform {

// Takes one operation. [any thread]
void takeTally(control::TallyOp op, std::string_view key, std::int64_t scalar, double sample);

} // namespace vel::platform
