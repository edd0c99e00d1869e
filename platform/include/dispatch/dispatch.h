// Serial queues as handles, and one-time initialisation. The host of a plug-in makes and drains the queues.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

typedef struct dispatch_queue_s* dispatch_queue_t;
typedef void (^dispatch_block_t)(void);

// Zero before the first use; must have static storage.
typedef long dispatch_once_t;
// Runs the block once per predicate; returns when it has run, on this thread or another. [any thread]
void dispatch_once(dispatch_once_t* predicate, dispatch_block_t block);

#ifdef __cplusplus
}
#endif
