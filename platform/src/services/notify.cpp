// Notifications by name, within the process.
#include "announce.h"
#include "services/block.h"
#include "services/immortal.h"
#include <control/notify.h>
#include <control/queue.h>

#include <notify.h>

#include <mutex>
#include <string>
#include <vector>

namespace {

using Handler = vel::platform::SharedBlock<notify_handler_t>;

struct Registration {
  int token = 0;
  std::string name;
  dispatch_queue_t queue = nullptr;
  Handler handler;
};

struct Center {
  std::mutex mutex;
  std::vector<Registration> registrations;
  int lastToken = 0;
};

Center& center() {
  return vel::platform::immortal<Center>();
}

} // namespace

extern "C" uint32_t notify_register_dispatch(const char* name, int* token, dispatch_queue_t queue,
                                             notify_handler_t handler) {
  if (const auto failure = vel::platform::announce("notify_register_dispatch", name)) {
    return static_cast<uint32_t>(*failure);
  }
  if (name == nullptr || token == nullptr || handler == nullptr) {
    return NOTIFY_STATUS_FAILED;
  }
  const std::lock_guard lock(center().mutex);
  *token = ++center().lastToken;
  center().registrations.push_back({*token, name, queue, Handler(handler)});
  return NOTIFY_STATUS_OK;
}

namespace vel::control {

std::size_t postNotification(std::string_view name) {
  std::vector<Registration> due;
  {
    const std::lock_guard lock(center().mutex);
    for (const auto& registration : center().registrations) {
      if (registration.name == name) {
        due.push_back(registration);
      }
    }
  }
  for (const auto& registration : due) {
    async(registration.queue, [handler = registration.handler, token = registration.token] { handler(token); });
  }
  return due.size();
}

std::size_t notificationRegistrations() {
  const std::lock_guard lock(center().mutex);
  return center().registrations.size();
}

void dropNotifications() {
  std::vector<Registration> dropped; // released after the lock: a block's captures may call anything
  const std::lock_guard lock(center().mutex);
  dropped.swap(center().registrations);
}

} // namespace vel::control
