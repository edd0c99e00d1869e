// Serial queues from the outside: each runs one block at a time, in order, on one of a few threads that all queues
// share. An exception that escapes from work ends the process with the queue's label and its text; only a
// std::bad_alloc from work that sync waits for is rethrown to the caller of sync. At the end of the process, running
// work is waited for and queued work is dropped (those waiting for it continue); from then on work runs at once, on the
// calling thread. [any thread]
#pragma once

#include <dispatch/dispatch.h>

#include <functional>
#include <string>

namespace vel::control {

// Starts the threads, which otherwise start with the first queue. Throws std::system_error if none can be started.
void startQueues();

// A serial queue, until destroyQueue.
dispatch_queue_t createQueue(std::string label);
// Waits for what is queued and frees the queue. The handle must not be used afterwards.
void destroyQueue(dispatch_queue_t queue);

// Runs `work` on the queue, later or before returning. On a null queue both run it at once, on the calling thread, and
// so does sync when it is called on the queue itself.
void async(dispatch_queue_t queue, std::function<void()> work);
void sync(dispatch_queue_t queue, const std::function<void()>& work);
// Returns when everything that was queued before has run. Called on the queue itself it would never return, so it
// aborts.
void drain(dispatch_queue_t queue);
// Whether the calling thread is running work of this queue. False for null.
bool onQueue(dispatch_queue_t queue);

} // namespace vel::control
