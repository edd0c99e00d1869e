// Sets the boot time that plug-ins see.
#pragma once

#include <cstdint>
#include <optional>

namespace vel::control {

// Sets the boot time that sysctl returns, in microseconds since the Unix epoch; none: the kernel's own, read once.
// [any thread]
void setBootTime(std::optional<std::int64_t> microseconds);

} // namespace vel::control
