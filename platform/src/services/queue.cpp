// Serial queues: an Asio strand each, over one pool of threads that they all share.
//
// The pool starts with the first work and is joined when the process exits. A thread of it that waits for another queue
// is replaced for as long as it waits, so that queues which wait for each other's work never run out of threads.
#include "announce.h"
#include "cf/object.h"
#include "services/immortal.h"
#include <control/queue.h>

#include <dispatch/dispatch.h>

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <asio/strand.hpp>

#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <exception>
#include <memory>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace {

constexpr std::size_t threadCount = 2;

class Pool {
public:
  Pool() {
    try {
      while (threads_.size() < threadCount) {
        startThread();
      }
    } catch (const std::exception&) {
      if (threads_.empty()) {
        throw;
      }
      // One is enough: a thread that waits for another queue starts a replacement.
    }
    std::atexit([] { vel::platform::immortal<Pool>().shutDown(); });
  }

  asio::io_context& context() { return context_; }
  // After shutDown there is no thread left to run work, or to run it concurrently.
  bool isDown() const { return down_.load(); }

  // Work that a caller waits for. The pool's mutex guards its state.
  struct Awaited {
    enum class State { queued, running, done, dropped } state = State::queued;
  };
  // Waits until the work is done; the calling thread may be one of the pool's own. Work that has not begun when the
  // pool shuts down is dropped.
  void wait(Awaited& work) {
    std::unique_lock lock(mutex_);
    waiting_ += isOwnThread_ ? 1 : 0;
    if (isOwnThread_ && !isDown() && waiting_ + threadCount > threads_.size()) {
      startReplacement();
    }
    changed_.wait(
        lock, [&] { return work.state == Awaited::State::done || (isDown() && work.state == Awaited::State::queued); });
    if (work.state == Awaited::State::queued) {
      work.state = Awaited::State::dropped;
    }
    waiting_ -= isOwnThread_ ? 1 : 0;
  }
  // False when the caller no longer waits for it.
  bool begin(Awaited& work) {
    const std::lock_guard lock(mutex_);
    if (work.state == Awaited::State::dropped) {
      return false;
    }
    work.state = Awaited::State::running;
    return true;
  }
  void end(Awaited& work) {
    const std::lock_guard lock(mutex_);
    work.state = Awaited::State::done;
    changed_.notify_all();
  }

private:
  void startThread() {
    try {
      threads_.emplace_back([this] {
        isOwnThread_ = true;
        context_.run();
      });
    } catch (const std::system_error& error) {
      throw std::system_error(error.code(), "no thread for a queue");
    }
  }

  // For a thread that is about to wait. If none can be started and all others are waiting too, none could ever
  // continue.
  void startReplacement() {
    try {
      startThread();
    } catch (const std::exception& error) {
      if (waiting_ == threads_.size()) {
        vel::platform::misuse("queues that wait for each other", "%s", error.what());
      }
    }
  }

  void shutDown() {
    std::vector<std::thread> threads;
    {
      const std::lock_guard lock(mutex_);
      down_.store(true);
      context_.stop();
      threads.swap(threads_);
      changed_.notify_all();
    }
    for (auto& thread : threads) {
      if (thread.get_id() == std::this_thread::get_id()) {
        thread.detach(); // work that calls exit()
      } else {
        thread.join();
      }
    }
  }

  static thread_local bool isOwnThread_;

  asio::io_context context_;
  asio::executor_work_guard<asio::io_context::executor_type> busy_ = asio::make_work_guard(context_);
  std::atomic<bool> down_{false};
  std::mutex mutex_;
  std::condition_variable changed_; // the state of awaited work, or of the pool
  std::vector<std::thread> threads_;
  std::size_t waiting_ = 0; // threads of the pool that wait for a queue
};

thread_local bool Pool::isOwnThread_ = false;

Pool& pool() {
  return vel::platform::immortal<Pool>();
}

// The queue whose work the thread runs.
thread_local dispatch_queue_t current = nullptr;

} // namespace

struct dispatch_queue_s {
  std::string label;
  asio::strand<asio::io_context::executor_type> strand = asio::make_strand(pool().context());
};

namespace {

// An exception that escapes from the work ends the process: the caller may no longer be there to handle it.
void runOrDie(const char* where, const std::function<void()>& work) {
  try {
    work();
  } catch (const std::bad_alloc&) {
    vel::platform::misuse(where, "out of memory");
  } catch (const std::exception& error) {
    vel::platform::misuse(where, "uncaught exception: %s", error.what());
  } catch (...) {
    vel::platform::misuse(where, "uncaught exception");
  }
}

void runOn(dispatch_queue_t queue, const std::function<void()>& work) {
  const auto outer = std::exchange(current, queue);
  runOrDie(queue->label.c_str(), work);
  current = outer; // the queue itself may be gone by now: the work may have been what destroyQueue waited for
}

// For work that a caller waits for: returns a std::bad_alloc, which is then rethrown to the caller.
std::exception_ptr runForCaller(dispatch_queue_t queue, const std::function<void()>& work) {
  std::exception_ptr outOfMemory;
  runOn(queue, [&] {
    try {
      work();
    } catch (const std::bad_alloc&) {
      outOfMemory = std::current_exception();
    }
  });
  return outOfMemory;
}

void rethrow(const std::exception_ptr& failure) {
  if (failure) {
    std::rethrow_exception(failure);
  }
}

void runAndWait(dispatch_queue_t queue, const std::function<void()>& work) {
  const auto awaited = std::make_shared<Pool::Awaited>();
  std::exception_ptr failure;
  asio::post(queue->strand, [queue, &work, &failure, awaited] {
    if (pool().begin(*awaited)) {
      failure = runForCaller(queue, work);
      pool().end(*awaited);
    }
  });
  pool().wait(*awaited);
  rethrow(failure);
}

} // namespace

namespace vel::control {

void startQueues() {
  pool();
}

dispatch_queue_t createQueue(std::string label) {
  return new dispatch_queue_s{std::move(label)};
}

void destroyQueue(dispatch_queue_t queue) {
  drain(queue);
  delete queue;
}

void async(dispatch_queue_t queue, std::function<void()> work) {
  if (queue == nullptr) {
    runOrDie("null queue", work);
  } else if (pool().isDown()) {
    runOn(queue, work);
  } else {
    asio::post(queue->strand, [queue, work = std::move(work)] { runOn(queue, work); });
  }
}

void sync(dispatch_queue_t queue, const std::function<void()>& work) {
  if (queue == nullptr) {
    runOrDie("null queue", work);
  } else if (onQueue(queue) || pool().isDown()) {
    rethrow(runForCaller(queue, work));
  } else {
    runAndWait(queue, work);
  }
}

void drain(dispatch_queue_t queue) {
  if (queue == nullptr || pool().isDown()) {
    return;
  }
  if (onQueue(queue)) {
    platform::misuse(queue->label.c_str(), "drained or destroyed by its own work");
  }
  runAndWait(queue, [] {});
}

bool onQueue(dispatch_queue_t queue) {
  return queue != nullptr && current == queue;
}

} // namespace vel::control

namespace {

enum : dispatch_once_t { onceUntouched = 0, onceRunning = 1, onceDone = -1 };

// One lock for all predicates: it is held only briefly, twice per predicate.
struct Once {
  std::mutex mutex;
  std::condition_variable done;
};

} // namespace

extern "C" void dispatch_once(dispatch_once_t* predicate, dispatch_block_t block) {
  vel::platform::note("dispatch_once");
  const std::atomic_ref<dispatch_once_t> state(*predicate);
  if (state.load(std::memory_order_acquire) == onceDone) {
    return;
  }
  auto& once = vel::platform::immortal<Once>();
  std::unique_lock lock(once.mutex);
  if (state.load(std::memory_order_relaxed) == onceUntouched) {
    state.store(onceRunning, std::memory_order_relaxed);
    lock.unlock();
    runOrDie("dispatch_once", [block] { block(); });
    lock.lock();
    state.store(onceDone, std::memory_order_release);
    once.done.notify_all();
  } else {
    once.done.wait(lock, [&] { return state.load(std::memory_order_relaxed) == onceDone; });
  }
}
