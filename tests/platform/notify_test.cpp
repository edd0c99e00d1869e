// Notifications: registered by name, handled on queues, dropped by the host.
#include "services_fixture.h"
#include <control/queue.h>

#include <notify.h>

#include <atomic>
#include <future>
#include <memory>
#include <thread>

using namespace vel::control;

namespace {

class Notify : public Services {
protected:
  void TearDown() override {
    drain(queue_);
    destroyQueue(queue_);
    Services::TearDown();
  }

  dispatch_queue_t queue_ = createQueue("notifications");
};

TEST_F(Notify, Post_CallsTheHandlersOfItsNameOnTheirQueues) {
  __block std::vector<std::string> calls;
  auto* const queue = queue_;
  int first = 0;
  int second = 0;
  int other = 0;
  const auto note = [](const char* name, int token, bool on) {
    return std::string(name) + " " + std::to_string(token) + (on ? " on queue" : "");
  };
  EXPECT_EQ(notify_register_dispatch("a", &first, queue_,
                                     ^(int token) {
                                       calls.push_back(note("first", token, onQueue(queue)));
                                     }),
            std::uint32_t{NOTIFY_STATUS_OK});
  notify_register_dispatch("a", &second, queue_, ^(int token) {
    calls.push_back(note("second", token, onQueue(queue)));
  });
  notify_register_dispatch("b", &other, nullptr, ^(int token) {
    calls.push_back(note("other", token, onQueue(queue)));
  });
  EXPECT_NE(first, second);
  EXPECT_EQ(notificationRegistrations(), 3U);
  EXPECT_EQ(postNotification("a"), 2U);
  drain(queue_);
  EXPECT_EQ(postNotification("b"), 1U); // its handler has no queue: it has run by now
  EXPECT_EQ(postNotification("c"), 0U);
  EXPECT_EQ(calls, (std::vector<std::string>{note("first", first, true), note("second", second, true),
                                             note("other", other, false)}));
}

TEST_F(Notify, EveryPost_CallsOnce) {
  __block int calls = 0;
  int token = 0;
  notify_register_dispatch("a", &token, queue_, ^(int) {
    ++calls;
  });
  for (int i = 0; i < 3; ++i) {
    postNotification("a");
  }
  drain(queue_);
  EXPECT_EQ(calls, 3);
}

TEST_F(Notify, Registering_NeedsNameTokenAndHandler) {
  int token = 7;
  notify_handler_t const handler = ^(int) {
  };
  EXPECT_EQ(notify_register_dispatch(nullptr, &token, queue_, handler), std::uint32_t{NOTIFY_STATUS_FAILED});
  EXPECT_EQ(notify_register_dispatch("a", nullptr, queue_, handler), std::uint32_t{NOTIFY_STATUS_FAILED});
  EXPECT_EQ(notify_register_dispatch("a", &token, queue_, nullptr), std::uint32_t{NOTIFY_STATUS_FAILED});
  EXPECT_EQ(token, 7);
  EXPECT_EQ(notificationRegistrations(), 0U);
}

TEST_F(Notify, Dropping_ReleasesTheBlocks) {
  const auto captured = std::make_shared<int>(1);
  {
    const auto held = captured;
    int token = 0;
    notify_register_dispatch("a", &token, queue_, ^(int) {
      EXPECT_EQ(*held, 1);
    });
  }
  EXPECT_EQ(captured.use_count(), 2);
  dropNotifications();
  EXPECT_EQ(captured.use_count(), 1);
  EXPECT_EQ(notificationRegistrations(), 0U);
  EXPECT_EQ(postNotification("a"), 0U);
}

TEST_F(Notify, DroppingWhileAPostIsQueued_LetsItRun) {
  const auto captured = std::make_shared<std::atomic<int>>(0);
  {
    const auto held = captured;
    int token = 0;
    notify_register_dispatch("a", &token, queue_, ^(int) {
      ++*held;
    });
  }
  std::promise<void> go;
  async(queue_, [going = go.get_future().share()] { going.wait(); });
  postNotification("a");
  dropNotifications();
  EXPECT_EQ(captured.use_count(), 2) << "the queued call holds the block";
  go.set_value();
  drain(queue_);
  EXPECT_EQ(*captured, 1);
  EXPECT_EQ(captured.use_count(), 1);
}

TEST_F(Notify, PostsRegistrationsAndDrops_MayMeet) {
  std::atomic<int> count{0};
  auto* const calls = &count;
  std::thread posting([] {
    for (int i = 0; i < 200; ++i) {
      postNotification("a");
    }
  });
  for (int i = 0; i < 200; ++i) {
    int token = 0;
    notify_register_dispatch("a", &token, queue_, ^(int) {
      ++*calls;
    });
    if (i % 10 == 9) {
      dropNotifications();
    }
  }
  posting.join();
  drain(queue_);
  EXPECT_EQ(notificationRegistrations(), 0U);
  const int before = count;
  EXPECT_EQ(postNotification("a"), 0U);
  drain(queue_);
  EXPECT_EQ(count, before);
}

} // namespace
