// Boot time from the outside.
#pragma once

#include <cstdint>
#include <optional>

namespace vel::control {

// What sysctl answers for the boot time, in microseconds since the Unix epoch; none: the kernel's own, read once.
// [any thread]
void setBootTime(std::optional<std::int64_t> microseconds);

} // namespace vel::control
