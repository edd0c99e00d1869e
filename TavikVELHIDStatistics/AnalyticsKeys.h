// The names of the firmware's metrics.
#pragma once

#include <array>

// A metric as the firmware names it: an index into the key names.
using TallyStoreKey = int;
inline constexpr TallyStoreKey kVELTSRecKey_Count = 48;

// In the order of the firmware's indices. The names are constant and never freed.
extern const std::array<const char*, kVELTSRecKey_Count> kTallyStoreKeyNames;
