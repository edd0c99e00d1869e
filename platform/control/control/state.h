// State capture from the outside: list the handlers, run one.
#pragma once

#include <os/state.h>

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace vel::control {

struct FreeRecord {
  void operator()(os_state_data_s* record) const { std::free(record); }
};
using StateRecord = std::unique_ptr<os_state_data_s, FreeRecord>;

// The registered handlers, oldest first. [any thread]
std::vector<os_state_handle_t> stateHandlers();
// The queue that the handler was registered with. [get: borrowed from the maker of the queue; any thread]
dispatch_queue_t stateHandlerQueue(os_state_handle_t handler);
// Runs one handler on its queue and waits; empty when it returned none. An unknown handle throws
// std::invalid_argument. [create: the caller's; any thread but that queue's]
StateRecord captureState(os_state_handle_t handler, std::uint32_t api, const std::string& requestor);
// Drops all registrations; no capture may be running. [any thread]
void dropStateHandlers();

} // namespace vel::control
