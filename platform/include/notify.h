// The notification service: posts by name, handled on queues.
#pragma once

#include <dispatch/dispatch.h>

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum { NOTIFY_STATUS_OK = 0, NOTIFY_STATUS_FAILED = 1000000 };
typedef void (^notify_handler_t)(int token);

// Calls a copy of the handler on `queue` for every post of `name`, with the token stored through `token`. Returns
// NOTIFY_STATUS_OK, or NOTIFY_STATUS_FAILED when the name, token or handler is null. [any thread]
uint32_t notify_register_dispatch(const char* name, int* token, dispatch_queue_t queue, notify_handler_t handler);

#ifdef __cplusplus
}
#endif
