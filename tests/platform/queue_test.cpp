// Serial queues and one-time initialisation, under threads.
#include <control/queue.h>

#include <dispatch/dispatch.h>

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <latch>
#include <memory>
#include <new>
#include <numeric>
#include <pthread.h>
#include <stdexcept>
#include <thread>
#include <vector>

using namespace vel::control;

namespace {

struct DestroyQueue {
  void operator()(dispatch_queue_t queue) const { destroyQueue(queue); }
};
using Queue = std::unique_ptr<std::remove_pointer_t<dispatch_queue_t>, DestroyQueue>;
Queue makeQueue(const char* label = "test") {
  return Queue(createQueue(label));
}

TEST(Queue, Work_RunsInTheOrderOfItsQueueing) {
  const auto queue = makeQueue();
  std::vector<int> ran;
  for (int i = 0; i < 1000; ++i) {
    async(queue.get(), [&ran, i] { ran.push_back(i); });
  }
  drain(queue.get());
  std::vector<int> expected(1000);
  std::iota(expected.begin(), expected.end(), 0);
  EXPECT_EQ(ran, expected);
}

TEST(Queue, Work_FromManyThreadsRunsOneAtATime) {
  const auto queue = makeQueue();
  int count = 0; // not atomic: the queue is the lock
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 500; ++i) {
        if (i % 50 == 0) {
          sync(queue.get(), [&] { ++count; });
        } else {
          async(queue.get(), [&] { ++count; });
        }
      }
    });
  }
  for (auto& thread : threads) {
    thread.join();
  }
  drain(queue.get());
  EXPECT_EQ(count, 2000);
}

TEST(Queue, TwoQueues_RunBesideEachOther) {
  const auto a = makeQueue();
  const auto b = makeQueue();
  std::latch both(2); // neither passes it without the other
  async(a.get(), [&] { both.arrive_and_wait(); });
  async(b.get(), [&] { both.arrive_and_wait(); });
  drain(a.get());
  drain(b.get());
  EXPECT_TRUE(both.try_wait());
}

TEST(Queue, Sync_ReturnsWhenItsWorkHasRunAfterTheEarlier) {
  const auto queue = makeQueue();
  std::vector<int> ran;
  async(queue.get(), [&] { ran.push_back(1); });
  sync(queue.get(), [&] { ran.push_back(2); });
  EXPECT_EQ(ran, (std::vector<int>{1, 2}));
}

TEST(Queue, SyncOnItself_RunsInline) {
  const auto queue = makeQueue();
  std::vector<int> ran;
  sync(queue.get(), [&] {
    ran.push_back(1);
    sync(queue.get(), [&] {
      ran.push_back(2);
      EXPECT_TRUE(onQueue(queue.get()));
    });
    ran.push_back(3);
    EXPECT_TRUE(onQueue(queue.get()));
  });
  EXPECT_EQ(ran, (std::vector<int>{1, 2, 3}));
}

TEST(Queue, OutOfMemory_IsThrownOnToWhoeverWaitsForTheWork) {
  const auto queue = makeQueue();
  const auto fail = [] { throw std::bad_alloc(); };
  EXPECT_THROW(sync(queue.get(), fail), std::bad_alloc);
  bool inner = false;
  sync(queue.get(), [&] {
    EXPECT_THROW(sync(queue.get(), fail), std::bad_alloc);
    inner = true;
  });
  EXPECT_TRUE(inner); // the queue goes on
}

TEST(Queue, QueuesThatWaitForOthers_DoNotUseUpTheThreads) {
  constexpr std::size_t count = 8; // more than the pool has threads
  std::array<Queue, count> waiting;
  std::array<Queue, count> target;
  std::atomic<int> ran{0};
  for (std::size_t i = 0; i < count; ++i) {
    waiting[i] = makeQueue();
    target[i] = makeQueue();
  }
  std::latch started(2);
  for (std::size_t i = 0; i < count; ++i) {
    async(waiting[i].get(), [&, i] {
      if (i < 2) {
        started.arrive_and_wait(); // both threads of the pool are in work that is about to wait
      }
      sync(target[i].get(), [&] { ++ran; });
    });
  }
  for (auto& queue : waiting) {
    drain(queue.get());
  }
  EXPECT_EQ(ran, static_cast<int>(count));
}

TEST(Queue, NullQueue_RunsAtOnceOnTheCallingThread) {
  std::vector<std::thread::id> ran;
  const auto note = [&] { ran.push_back(std::this_thread::get_id()); };
  async(nullptr, note);
  EXPECT_EQ(ran.size(), 1U);
  sync(nullptr, note);
  drain(nullptr);
  EXPECT_EQ(ran, std::vector(2, std::this_thread::get_id()));
}

TEST(Queue, OnQueue_KnowsTheQueueOfTheRunningWork) {
  const auto queue = makeQueue();
  const auto other = makeQueue();
  EXPECT_FALSE(onQueue(queue.get()));
  EXPECT_FALSE(onQueue(nullptr));
  sync(queue.get(), [&] {
    EXPECT_TRUE(onQueue(queue.get()));
    EXPECT_FALSE(onQueue(other.get()));
    EXPECT_FALSE(onQueue(nullptr));
    sync(other.get(), [&] { EXPECT_FALSE(onQueue(queue.get())); });
    async(nullptr, [&] { EXPECT_TRUE(onQueue(queue.get())); });
  });
  EXPECT_FALSE(onQueue(queue.get()));
}

TEST(Queue, Destroying_WaitsForWhatIsQueued) {
  std::promise<void> go;
  int ran = 0;
  auto* const queue = createQueue("test");
  async(queue, [&, gone = go.get_future().share()] { gone.wait(); });
  for (int i = 0; i < 100; ++i) {
    async(queue, [&] { ++ran; });
  }
  go.set_value();
  destroyQueue(queue);
  EXPECT_EQ(ran, 100);
}

class QueueDeath : public testing::Test {
protected:
  void SetUp() override { testing::FLAGS_gtest_death_test_style = "threadsafe"; }
};

TEST_F(QueueDeath, EscapingException_EndsTheProcessWithItsText) {
  EXPECT_DEATH(
      {
        auto* const queue = createQueue("reports");
        async(queue, [] { throw std::runtime_error("boom"); });
        drain(queue);
      },
      "reports: uncaught exception: boom");
  EXPECT_DEATH(async(nullptr, [] { throw 1; }), "null queue: uncaught exception");
}

TEST_F(QueueDeath, DrainingFromItsOwnWork_EndsTheProcess) {
  EXPECT_DEATH(
      {
        auto* const queue = createQueue("reports");
        async(queue, [=] { drain(queue); });
        drain(queue);
      },
      "reports: drained or destroyed by its own work");
}

// Gives other threads every chance to do what they must not.
void yieldOften() {
  for (int i = 0; i < 1000; ++i) {
    std::this_thread::yield();
  }
}

TEST_F(QueueDeath, Exit_WaitsForWhatRuns) {
  static std::promise<void> exiting;
  static std::atomic<bool> finished;
  EXPECT_EXIT(
      {
        std::atexit([] { std::_Exit(finished ? 3 : 6); }); // registered first, so it runs after the queues' own end
        auto* const queue = createQueue("busy");
        std::promise<void> running;
        async(queue, [&] {
          running.set_value();
          exiting.get_future().wait();
          yieldOften();
          finished = true;
        });
        for (int i = 0; i < 1000; ++i) {
          async(queue, [] {}); // may be dropped
        }
        running.get_future().wait();
        std::atexit([] { exiting.set_value(); }); // registered last, so it runs before
        std::exit(0);
      },
      testing::ExitedWithCode(3), "");
}

TEST_F(QueueDeath, Exit_WakesWorkThatWaitsForWhatIsDropped) {
  static std::atomic<bool> isDown;
  static std::atomic<bool> finished;
  EXPECT_EXIT(
      {
        std::atexit([] { std::_Exit(finished ? 3 : 6); }); // registered first, so it runs after the queues' own end
        auto* const busy = createQueue("busy");
        auto* const waiting = createQueue("waiting");
        auto* const probe = createQueue("probe");
        std::latch running(2);
        async(busy, [&] {
          running.count_down();
          while (!isDown) { // work runs inline once the queues have ended
            async(probe,
                  [self = std::this_thread::get_id()] { isDown = isDown || std::this_thread::get_id() == self; });
            std::this_thread::yield();
          }
        });
        async(waiting, [&] {
          running.count_down();
          sync(busy, [] {});
          finished = true;
        });
        running.wait();
        std::exit(0);
      },
      testing::ExitedWithCode(3), "");
}

TEST_F(QueueDeath, ExitFromQueuedWork_DoesNotWaitForItself) {
  EXPECT_EXIT(
      {
        auto* const queue = createQueue("last");
        async(queue, [] { std::exit(4); });
        std::promise<void>().get_future().wait(); // for ever: only the work ends the process
      },
      testing::ExitedWithCode(4), "");
}

// As if the system had no more: their stacks would not fit into any memory.
void refuseThreads() {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, std::size_t{1} << 46);
  pthread_setattr_default_np(&attributes);
  pthread_attr_destroy(&attributes);
}

TEST_F(QueueDeath, WithoutThreads_QueuesAreRefused) {
  EXPECT_EXIT(
      {
        refuseThreads();
        try {
          createQueue("first");
        } catch (const std::system_error& error) {
          std::fputs(error.what(), stderr);
          std::_Exit(7);
        }
      },
      testing::ExitedWithCode(7), "no thread for a queue: Resource temporarily unavailable");
}

TEST_F(QueueDeath, WithoutMoreThreads_WorkRunsOnThoseThereAre) {
  EXPECT_EXIT(
      {
        startQueues();
        refuseThreads();
        bool ran = false;
        sync(createQueue("outer"), [&] { sync(createQueue("inner"), [&] { ran = true; }); });
        std::_Exit(ran ? 8 : 9);
      },
      testing::ExitedWithCode(8), "");
}

TEST_F(QueueDeath, WorkThatWouldWaitForEver_DiesWithTheReason) {
  EXPECT_DEATH(
      {
        startQueues();
        refuseThreads();
        sync(createQueue("outer"), [] { sync(createQueue("middle"), [] { sync(createQueue("inner"), [] {}); }); });
      },
      "queues that wait for each other: no thread for a queue: Resource temporarily unavailable");
}

TEST_F(QueueDeath, WorkQueuedAfterTheEnd_RunsInline) {
  static dispatch_queue_t queue;
  EXPECT_EXIT(
      {
        std::atexit([] { // runs after the queues' own end, which registers later
          bool ran = false;
          async(queue, [&] { ran = onQueue(queue); });
          sync(queue, [&] { ran = ran && onQueue(queue); });
          drain(queue);
          std::_Exit(ran ? 5 : 6);
        });
        queue = createQueue("late");
        sync(queue, [] {});
        std::exit(0);
      },
      testing::ExitedWithCode(5), "");
}

TEST(DispatchOnce, FromManyThreads_RunsOnceAndAllWaitForIt) {
  constexpr int rounds = 20;
  constexpr int threadCount = 4;
  static dispatch_once_t predicates[rounds];
  int runs = 0; // not atomic: one predicate's block ends before the next begins
  auto* const counted = &runs;
  for (auto& predicate : predicates) {
    predicate = 0; // so that the test can be repeated in one process
    auto* const once = &predicate;
    const int before = runs;
    std::latch calling(threadCount);
    auto* const all = &calling;
    std::vector<std::thread> threads;
    for (int t = 0; t < threadCount; ++t) {
      threads.emplace_back([&] {
        all->count_down();
        dispatch_once(once, ^{
          all->wait();
          yieldOften(); // the others call meanwhile
          ++*counted;
        });
        EXPECT_EQ(*counted, before + 1);
      });
    }
    for (auto& thread : threads) {
      thread.join();
    }
  }
  EXPECT_EQ(runs, rounds);
}

TEST(DispatchOnce, Again_DoesNothing) {
  static dispatch_once_t once;
  once = 0;
  __block int runs = 0;
  for (int i = 0; i < 3; ++i) {
    dispatch_once(&once, ^{
      ++runs;
    });
  }
  EXPECT_EQ(runs, 1);
}

TEST(DispatchOnce, InsideAnother_RunsBoth) {
  static dispatch_once_t outer;
  static dispatch_once_t inner;
  outer = inner = 0;
  __block std::vector<int> ran;
  dispatch_once(&outer, ^{
    dispatch_once(&inner, ^{
      ran.push_back(1);
    });
    ran.push_back(2);
  });
  EXPECT_EQ(ran, (std::vector<int>{1, 2}));
}

} // namespace
