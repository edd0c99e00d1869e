// State capture: the handlers in the order of their registration, each run on its queue.
#include "announce.h"
#include "services/block.h"
#include "services/immortal.h"
#include <control/queue.h>
#include <control/state.h>

#include <os/state.h>

#include <algorithm>
#include <mutex>
#include <stdexcept>
#include <vector>

namespace {

struct StateHandler {
  os_state_handle_t handle = 0;
  dispatch_queue_t queue = nullptr;
  vel::platform::SharedBlock<os_state_block_t> block;
};

struct Handlers {
  std::mutex mutex;
  std::vector<StateHandler> list;
  os_state_handle_t last = 0;
};

Handlers& handlers() {
  return vel::platform::immortal<Handlers>();
}

StateHandler find(os_state_handle_t handle) {
  const std::lock_guard lock(handlers().mutex);
  const auto& list = handlers().list;
  const auto found = std::find_if(list.begin(), list.end(),
                                  [handle](const StateHandler& handler) { return handler.handle == handle; });
  if (found == list.end()) {
    throw std::invalid_argument("no state handler " + std::to_string(handle));
  }
  return *found;
}

} // namespace

extern "C" os_state_handle_t os_state_add_handler(dispatch_queue_t queue, os_state_block_t block) {
  if (vel::platform::announce("os_state_add_handler") || block == nullptr) {
    return 0;
  }
  const std::lock_guard lock(handlers().mutex);
  const auto handle = ++handlers().last;
  handlers().list.push_back({handle, queue, vel::platform::SharedBlock<os_state_block_t>(block)});
  return handle;
}

namespace vel::control {

std::vector<os_state_handle_t> stateHandlers() {
  const std::lock_guard lock(handlers().mutex);
  std::vector<os_state_handle_t> handles;
  for (const auto& handler : handlers().list) {
    handles.push_back(handler.handle);
  }
  return handles;
}

dispatch_queue_t stateHandlerQueue(os_state_handle_t handler) {
  return find(handler).queue;
}

StateRecord captureState(os_state_handle_t handler, std::uint32_t api, const std::string& requestor) {
  const auto found = find(handler);
  StateRecord record;
  sync(found.queue, [&] {
    os_state_hints_s hints{1, requestor.c_str(), api, 0};
    record.reset(found.block(&hints));
  });
  return record;
}

void dropStateHandlers() {
  std::vector<StateHandler> dropped; // released after the lock: a block's captures may call anything
  const std::lock_guard lock(handlers().mutex);
  dropped.swap(handlers().list);
}

} // namespace vel::control
