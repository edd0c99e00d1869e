// Posts notifications; counts and drops their registrations.
#pragma once

#include <cstddef>
#include <string_view>

namespace vel::control {

// Queues every handler of this name on its queue; returns how many there were. [any thread]
std::size_t postNotification(std::string_view name);
// The number of registrations, and a way to drop them all. A post that is already queued still runs, on its own copy of
// the block: drain the queue before unloading the code that the block calls.
std::size_t notificationRegistrations();
void dropNotifications();

} // namespace vel::control
