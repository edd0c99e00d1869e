// Batches: whole or not at all, seen by others, and what happens when they cannot be written.
#include "tally_fixture.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

using namespace vel::control;

namespace {

class TallyBatches : public OpenTallyFile {};

TEST_F(TallyBatches, Batch_IsSeenAtItsEnd) {
  add("before", 1);
  beginTallyBatch();
  add("key", 1);
  push("key", 2);
  EXPECT_EQ(rows().size(), 1U);
  endTallyBatch();
  EXPECT_EQ(rows().size(), 3U);
  add("after", 1);
  EXPECT_EQ(scalar("after"), 1);
}

TEST_F(TallyBatches, ManyOperationsOnOneKey_ComeInOrder) {
  beginTallyBatch();
  add("key", 5);
  TSClientClearScalarKey(CFSTR("key"));
  add("key", 2);
  push("key", 1, 7);
  TSClientClearDistributionKey(CFSTR("key"));
  push("key", 4, 2);
  push("key", 5);
  push("key", 4);
  endTallyBatch();
  EXPECT_EQ(scalar("key"), 2);
  EXPECT_EQ(distribution("key").count, 4U);
  EXPECT_EQ(distribution("key").sum, 17);
}

TEST_F(TallyBatches, CloseInsideABatch_DropsIt) {
  add("key", 1);
  beginTallyBatch();
  add("key", 10);
  closeTallyStore();
  EXPECT_EQ(scalar("key"), 1);
  endTallyBatch();
  add("key", 100);
  EXPECT_EQ(scalar("key"), 1);
  openTallyStore(path);
  add("key", 1000);
  EXPECT_EQ(scalar("key"), 1001);
}

TEST_F(TallyBatches, OpeningAnotherStoreInsideABatch_DropsIt) {
  beginTallyBatch();
  add("key", 1);
  const auto first = std::exchange(path, folder_ / "other.sqlite");
  openTallyStore(path);
  add("key", 10);
  EXPECT_EQ(scalar("key"), 10); // at once, outside a batch
  endTallyBatch();
  path = first;
  EXPECT_TRUE(rows().empty());
}

TEST_F(TallyBatches, WithoutAStore_OperationsAreKeptInMemoryAlone) {
  closeTallyStore();
  clearTally();
  beginTallyBatch();
  add("key", 1);
  endTallyBatch();
  EXPECT_EQ(tallyCalls().size(), 1U);
  EXPECT_TRUE(rows().empty());
}

TEST_F(TallyBatches, Memory_CanBeLeftOut) {
  clearTally();
  keepTallyInMemory(false);
  add("key", 1);
  EXPECT_TRUE(tallyCalls().empty());
  keepTallyInMemory(true);
  add("key", 1);
  EXPECT_EQ(tallyCalls().size(), 1U);
  EXPECT_EQ(scalar("key"), 2);
}

TEST_F(TallyBatches, StoreIsOpenedAgain_AndGoesOn) {
  for (int i = 0; i < 3; ++i) {
    openTallyStore(path);
    for (int sample = 0; sample < 50; ++sample) {
      push("key", i * 50 + sample);
    }
    add("key", 1);
    closeTallyStore();
    EXPECT_EQ(files(), std::vector<std::string>{"tally.sqlite"});
  }
  EXPECT_EQ(scalar("key"), 3);
  EXPECT_EQ(distribution("key").count, 150U);
  EXPECT_EQ(distribution("key").sum, 149 * 75);
}

TEST_F(TallyBatches, AnotherWriter_IsTakenIntoAccount) {
  add("key", 1);
  sql(path, "UPDATE scalar SET value = value + 10");
  add("key", 100);
  EXPECT_EQ(scalar("key"), 111);
  beginTallyBatch();
  add("key", 1000);
  sql(path, "UPDATE scalar SET value = value + 10000");
  endTallyBatch();
  EXPECT_EQ(scalar("key"), 11'111);
}

// No file may grow beyond a size while this lives: the disk is full.
class FullDisk {
public:
  explicit FullDisk(rlim_t most = 0) {
    std::signal(SIGXFSZ, SIG_IGN); // the write should fail, not the process
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limit = {.rlim_cur = most, .rlim_max = before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FullDisk() { setrlimit(RLIMIT_FSIZE, &before_); }

private:
  rlimit before_{};
};

TEST_F(TallyBatches, FailedBatch_IsDroppedWhole_AndTheNextOneIsWritten) {
  add("key", 1);
  beginTallyBatch();
  add("key", 10);
  add("other", 10);
  {
    const FullDisk full;
    const std::string error = errorOf(endTallyBatch);
    EXPECT_EQ(error.substr(0, path.string().size() + 2), path.string() + ": ");
    EXPECT_GT(error.size(), path.string().size() + 2);
  }
  EXPECT_EQ(scalar("key"), 1);
  EXPECT_EQ(rows().size(), 1U);
  beginTallyBatch();
  add("key", 100);
  endTallyBatch();
  EXPECT_EQ(scalar("key"), 101);
}

TEST_F(TallyBatches, RowThatCannotBeRead_FailsItsOwnBatchesAlone) {
  push("spoilt", 1);
  push("other", 1);
  sql(path, "UPDATE distribution SET samples = x'' WHERE key = 'spoilt'");
  for (int i = 0; i < 2; ++i) {
    beginTallyBatch();
    push("spoilt", 1);
    EXPECT_EQ(errorOf(endTallyBatch), path.string() + ": damaged (spoilt: its samples cannot be read)");
    beginTallyBatch();
    push("other", 1);
    EXPECT_EQ(errorOf(endTallyBatch), "");
  }
  EXPECT_EQ(sql(path, "SELECT count FROM distribution WHERE key = 'other'"), "3\n");
}

TEST_F(TallyBatches, StoreThatCannotBeMade_LeavesNothing) {
  closeTallyStore();
  std::filesystem::remove(path);
  for (rlim_t most = 0;; most += 512) { // a little more of it fits each time
    std::string error;
    {
      const FullDisk full(most);
      error = errorOf([&] { openTallyStore(path); });
    }
    if (std::filesystem::exists(path)) {
      break;
    }
    EXPECT_EQ(error.substr(0, path.string().size() + 2), path.string() + ": ") << most;
    ASSERT_EQ(files(), std::vector<std::string>()) << most;
  }
  // It is whole, though there may not be room to open it.
  EXPECT_EQ(rows().size(), 0U);
}

// What is written to stderr meanwhile, through a pipe: a file would be as full as the disk.
template <class Function>
std::string stderrOf(Function function) {
  int ends[2];
  EXPECT_EQ(pipe(ends), 0);
  const int before = dup(STDERR_FILENO);
  dup2(ends[1], STDERR_FILENO);
  close(ends[1]);
  function();
  dup2(before, STDERR_FILENO);
  close(before);
  std::string text(10'000, '\0');
  const ssize_t size = read(ends[0], text.data(), text.size());
  close(ends[0]);
  text.resize(static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
  return text;
}

TEST_F(TallyBatches, FailedOperationsOutsideABatch_AreLostWithOneLine) {
  add("key", 1);
  const std::string said = stderrOf([] {
    const FullDisk full;
    add("key", 10);
    add("key", 10);
  });
  const std::string start = "TallyStore: " + path.string() + ": ";
  EXPECT_EQ(said.substr(0, start.size()), start);
  EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1) << said;
  EXPECT_EQ(scalar("key"), 1);
  add("key", 100);
  EXPECT_EQ(scalar("key"), 101);
}

TEST_F(TallyBatches, EveryStore_HasItsOwnLine) {
  for (const char* const name : {"first.sqlite", "second.sqlite"}) {
    openTallyStore(folder_ / name);
    EXPECT_NE(stderrOf([] {
                const FullDisk full;
                add("key", 10);
              }),
              "")
        << name;
  }
}

TEST_F(TallyBatches, LossThatCannotBeTold_IsNoMoreThanALoss) {
  add("key", 1);
  stderrOf([] {
    close(STDERR_FILENO);
    const FullDisk full;
    add("key", 10);
  });
  EXPECT_EQ(scalar("key"), 1);
  add("key", 100);
  EXPECT_EQ(scalar("key"), 101);
}

TEST_F(TallyBatches, ManyThreads_LoseNothing_WhileOthersRead) {
  keepTallyInMemory(false);
  constexpr int kThreads = 4;
  constexpr int kRounds = 50;
  std::atomic<bool> done = false;
  std::thread reader([&] {
    std::int64_t last = 0;
    do {
      for (const Row& one : rows()) {
        if (one.kind == Kind::scalar) {
          EXPECT_GE(one.scalar.value, last);
          last = one.scalar.value;
        }
      }
    } while (!done);
  });
  std::vector<std::thread> writers;
  for (int t = 0; t < kThreads; ++t) {
    writers.emplace_back([t] {
      for (int i = 0; i < kRounds; ++i) {
        if (t == 0) {
          beginTallyBatch();
        }
        TSClientAddValueForScalarKey(CFSTR("key"), 1);
        TSClientPushValueForDistributionKey(CFSTR("key"), i);
        if (t == 0) {
          endTallyBatch();
        }
      }
    });
  }
  for (std::thread& writer : writers) {
    writer.join();
  }
  done = true;
  reader.join();
  EXPECT_EQ(scalar("key"), kThreads * kRounds);
  EXPECT_EQ(distribution("key").count, static_cast<std::uint64_t>(kThreads * kRounds));
  EXPECT_EQ(distribution("key").sum, kThreads * kRounds * (kRounds - 1) / 2);
}

} // namespace
