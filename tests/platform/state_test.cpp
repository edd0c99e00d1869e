// State capture: handlers are listed, asked on their queues, and dropped by the host.
#include "services_fixture.h"
#include <control/queue.h>

#include <os/state.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <thread>

using namespace vel::control;

namespace {

static_assert(sizeof(os_state_data_s) == 200);

os_state_data_s* record(const std::string& title) {
  auto* const made = static_cast<os_state_data_s*>(std::calloc(1, sizeof(os_state_data_s)));
  title.copy(made->title, sizeof(made->title) - 1);
  return made;
}

class State : public Services {
protected:
  void TearDown() override {
    drain(queue_);
    destroyQueue(queue_);
    Services::TearDown();
  }

  dispatch_queue_t queue_ = createQueue("state");
};

TEST_F(State, Handlers_AreListedInTheOrderOfRegistration) {
  os_state_block_t const none = ^os_state_data_s*(os_state_hints_s*) {
    return nullptr;
  };
  std::vector<os_state_handle_t> added;
  for (int i = 0; i < 3; ++i) {
    added.push_back(os_state_add_handler(i == 1 ? nullptr : queue_, none));
    EXPECT_NE(added.back(), 0U);
  }
  EXPECT_EQ(stateHandlers(), added);
  EXPECT_EQ(stateHandlerQueue(added[0]), queue_);
  EXPECT_EQ(stateHandlerQueue(added[1]), nullptr);
  EXPECT_EQ(os_state_add_handler(queue_, nullptr), 0U);
  EXPECT_EQ(stateHandlers().size(), 3U);
}

TEST_F(State, Capture_AsksOnTheQueueWithTheHints) {
  auto* const queue = queue_;
  const auto handler = os_state_add_handler(queue_, ^os_state_data_s*(os_state_hints_s* hints) {
    EXPECT_TRUE(onQueue(queue));
    return record(std::string(hints->requestor) + " " + std::to_string(hints->api) + " " +
                  std::to_string(hints->version) + " " + std::to_string(hints->reason));
  });
  const auto captured = captureState(handler, OS_STATE_API_REQUEST, "velstat");
  ASSERT_NE(captured, nullptr);
  EXPECT_STREQ(captured->title, "velstat 3 1 0");
  EXPECT_STREQ(captureState(handler, OS_STATE_API_FAULT, "")->title, " 2 1 0");
}

TEST_F(State, Capture_WithoutAQueueAsksOnTheCallingThread) {
  const auto caller = std::this_thread::get_id();
  const auto handler = os_state_add_handler(nullptr, ^os_state_data_s*(os_state_hints_s*) {
    return record(std::this_thread::get_id() == caller ? "here" : "elsewhere");
  });
  EXPECT_STREQ(captureState(handler, 3, "test")->title, "here");
}

TEST_F(State, Capture_OfAHandlerThatReturnsNoneIsEmpty) {
  const auto handler = os_state_add_handler(queue_, ^os_state_data_s*(os_state_hints_s*) {
    return nullptr;
  });
  EXPECT_EQ(captureState(handler, 3, "test"), nullptr);
}

TEST_F(State, UnknownHandles_Throw) {
  const auto handler = os_state_add_handler(queue_, ^os_state_data_s*(os_state_hints_s*) {
    return nullptr;
  });
  EXPECT_THROW(captureState(handler + 1, 3, "test"), std::invalid_argument);
  EXPECT_THROW(captureState(0, 3, "test"), std::invalid_argument);
  EXPECT_THROW(stateHandlerQueue(handler + 1), std::invalid_argument);
  dropStateHandlers();
  EXPECT_THROW(captureState(handler, 3, "test"), std::invalid_argument);
}

TEST_F(State, Dropping_ReleasesTheBlocks) {
  const auto captured = std::make_shared<int>(5);
  os_state_handle_t first = 0;
  {
    const auto held = captured;
    first = os_state_add_handler(queue_, ^os_state_data_s*(os_state_hints_s*) {
      return record(std::to_string(*held));
    });
  }
  EXPECT_EQ(captured.use_count(), 2);
  EXPECT_STREQ(captureState(first, 3, "test")->title, "5");
  EXPECT_EQ(captured.use_count(), 2);
  dropStateHandlers();
  EXPECT_EQ(captured.use_count(), 1);
  EXPECT_TRUE(stateHandlers().empty());
  const auto next = os_state_add_handler(queue_, ^os_state_data_s*(os_state_hints_s*) {
    return nullptr;
  });
  EXPECT_NE(next, first) << "a handle stands for one registration only";
}

TEST_F(State, CapturesFromManyThreads_RunOneAtATime) {
  __block int count = 0; // not atomic: the queue is the lock
  const auto handler = os_state_add_handler(queue_, ^os_state_data_s*(os_state_hints_s*) {
    ++count;
    return nullptr;
  });
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 50; ++i) {
        captureState(handler, 3, "test");
      }
    });
  }
  for (auto& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(count, 200);
}

} // namespace
