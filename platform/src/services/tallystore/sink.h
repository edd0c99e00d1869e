// Where TallyStore's operations go: the one way from the six functions to whatever keeps them.
#pragma once

#include <control/tally.h>

namespace vel::platform {

// Takes one operation. [any thread]
void takeTally(control::TallyCall call);

} // namespace vel::platform
