// Notifications from the outside.
#pragma once

#include <cstddef>
#include <string_view>

namespace vel::control {

// Queues every handler of this name on its queue; returns how many there were. [any thread]
std::size_t postNotification(std::string_view name);
// Registrations that exist now, and the end of all of them. A post that is still queued runs all the same, with a block
// of its own: drain the queue before unloading the code behind it.
std::size_t notificationRegistrations();
void dropNotifications();

} // namespace vel::control
