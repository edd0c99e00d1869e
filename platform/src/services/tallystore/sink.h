// Where TallyStore's operations go: the one way from the six functions to the sinks that keep them.
#pragma once

#include <control/tally.h>

#include <string_view>

namespace vel::platform {

// Takes one operation. [any thread]
void takeTally(control::TallyOp op, std::string_view key, std::int64_t scalar, double sample);

} // namespace vel::platform
