// What a returned batch wrote survives the end of the process at any point; no batch is ever seen in part.
#include "tally_fixture.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <random>
#include <sys/wait.h>
#include <unistd.h>

using namespace vel::control;

namespace {

constexpr int kKeys = 12;

class TallyCrash : public TallyFile {
protected:
  // A process that runs `work`, which is given the end of a pipe to report through.
  struct Child {
    pid_t process = 0;
    int reports = -1;

    bool next(std::uint64_t& report) const { return read(reports, &report, sizeof report) == sizeof report; }
    int end() {
      close(reports);
      int status = 0;
      waitpid(process, &status, 0);
      return status;
    }
  };
  template <class Work>
  static Child start(Work work) {
    int ends[2];
    if (pipe(ends) != 0) {
      std::abort();
    }
    const pid_t process = fork();
    if (process == 0) {
      close(ends[0]);
      work(ends[1]);
      _exit(0);
    }
    close(ends[1]);
    return {process, ends[0]};
  }

  // Writes batches forever, the same value to every key, and reports how many it has written.
  void writeBatches(int reports) const {
    keepTallyInMemory(false);
    openTallyStore(path);
    for (std::uint64_t written = 1;; ++written) {
      beginTallyBatch();
      for (int i = 0; i < kKeys; ++i) {
        add("key" + std::to_string(i), 1);
        push("key" + std::to_string(i), static_cast<double>(written * 37 % 1000), 3);
      }
      endTallyBatch();
      if (write(reports, &written, sizeof written) != sizeof written) {
        return;
      }
    }
  }

  // How many batches a store holds, all of them whole.
  std::uint64_t batchesIn() const {
    const std::vector<Row> found = rows();
    if (found.empty()) {
      return 0;
    }
    EXPECT_EQ(found.size(), 2U * kKeys);
    const auto batches = static_cast<std::uint64_t>(found.front().scalar.value);
    for (const Row& one : found) {
      if (one.kind == Kind::scalar) {
        EXPECT_EQ(static_cast<std::uint64_t>(one.scalar.value), batches) << one.key;
      } else {
        EXPECT_EQ(one.distribution.count, 3 * batches) << one.key;
        EXPECT_EQ(one.distribution.sum, found[1].distribution.sum) << one.key;
      }
    }
    return batches;
  }
};

// Some points are hit by waiting for so many reports, those between by letting some time pass after the last.
void spin(std::uint64_t turns) {
  for (volatile std::uint64_t i = 0; i < turns; i = i + 1) {
  }
}

TEST_F(TallyCrash, KilledWriter_LosesNoBatchThatReturned_AndLeavesNoneInPart) {
  std::mt19937_64 random(4);
  std::uint64_t before = 0;
  std::uint64_t interrupted = 0;
  for (int round = 0; round < 100; ++round) {
    Child child = start([this](int reports) { writeBatches(reports); });
    // One round in eight is long enough for the log to be written back into the file.
    const std::uint64_t wanted = random() % (round % 8 == 0 ? 150 : 10);
    std::uint64_t reported = 0;
    while (reported < wanted && child.next(reported)) {
    }
    spin(random() % 1'000'000);
    kill(child.process, SIGKILL);
    while (child.next(reported)) {
    }
    ASSERT_EQ(child.end(), SIGKILL);
    if (!std::filesystem::exists(path)) { // killed while it was made
      ASSERT_EQ(reported, 0U);
      continue;
    }
    const std::uint64_t after = batchesIn();
    ASSERT_GE(after, before + reported) << "round " << round;
    ASSERT_LE(after, before + reported + 1) << "round " << round; // written, and killed before the report
    interrupted += after - before - reported;
    before = after;
  }
  EXPECT_GT(before, 500U);
  RecordProperty("written_but_not_reported", std::to_string(interrupted));
}

TEST_F(TallyCrash, KilledMaker_LeavesNoStoreOrAWholeOne) {
  using Clock = std::chrono::steady_clock;
  std::mt19937_64 random(5);
  Clock::duration whole{};
  for (int round = 0; round < 60; ++round) {
    Child child = start([this](int reports) {
      const std::uint64_t report = 0;
      for (const bool open : {false, true}) {
        if (open) {
          openTallyStore(path);
        }
        if (write(reports, &report, sizeof report) != sizeof report) {
          return;
        }
      }
      pause();
    });
    std::uint64_t report = 0;
    ASSERT_TRUE(child.next(report));
    const Clock::time_point started = Clock::now();
    const bool finishes = round % 10 == 0;
    if (finishes) {
      ASSERT_TRUE(child.next(report));
      whole = Clock::now() - started;
    } else {
      const Clock::time_point end = started + whole * (random() % 1000) / 1000;
      while (Clock::now() < end) {
      }
    }
    kill(child.process, SIGKILL);
    child.end();
    EXPECT_TRUE(!finishes || std::filesystem::exists(path));
    if (std::filesystem::exists(path)) {
      EXPECT_EQ(rows().size(), 0U);
      openTallyStore(path);
      add("key", 1);
      closeTallyStore();
      EXPECT_EQ(scalar("key"), 1);
    }
    std::filesystem::remove_all(folder_);
    std::filesystem::create_directory(folder_);
  }
}

TEST_F(TallyCrash, StoreOfAKilledWriter_IsReadWithoutAChangeToIt) {
  Child child = start([this](int reports) { writeBatches(reports); });
  std::uint64_t reported = 0;
  while (reported < 5 && child.next(reported)) {
  }
  kill(child.process, SIGKILL);
  while (child.next(reported)) {
  }
  child.end();
  const std::string file = contentOf(path);
  const std::string log = contentOf(path.string() + "-wal");
  EXPECT_GE(batchesIn(), reported);
  EXPECT_EQ(contentOf(path), file);
  EXPECT_EQ(contentOf(path.string() + "-wal"), log);
}

TEST_F(TallyCrash, SeveralProcesses_ReadWholeBatches_WhileOneWrites) {
  constexpr std::uint64_t kWanted = 200;
  openTallyStore(path);
  closeTallyStore();
  Child readers[2];
  for (Child& reader : readers) {
    reader = start([this](int reports) {
      std::uint64_t seen = 0;
      while (seen < kWanted) {
        const std::uint64_t now = batchesIn();
        if (now < seen || HasFailure()) {
          _exit(1);
        }
        seen = now;
      }
      if (write(reports, &seen, sizeof seen) != sizeof seen) {
        _exit(2);
      }
    });
  }
  Child writer = start([this](int reports) { writeBatches(reports); });
  for (Child& reader : readers) {
    std::uint64_t seen = 0;
    EXPECT_TRUE(reader.next(seen));
    EXPECT_GE(seen, kWanted);
    EXPECT_EQ(reader.end(), 0);
  }
  kill(writer.process, SIGKILL);
  EXPECT_EQ(writer.end(), SIGKILL);
}

TEST_F(TallyCrash, SeveralProcesses_WaitForOneAnothersBatches) {
  constexpr int kBatches = 200;
  openTallyStore(path);
  closeTallyStore();
  const auto write = [this] {
    openTallyStore(path);
    for (int i = 0; i < kBatches; ++i) {
      beginTallyBatch();
      add("key", 1);
      EXPECT_EQ(errorOf(endTallyBatch), "");
    }
    closeTallyStore();
  };
  Child other = start([&](int) {
    write();
    _exit(HasFailure() ? 1 : 0);
  });
  write();
  EXPECT_EQ(other.end(), 0);
  EXPECT_EQ(scalar("key"), 2 * kBatches);
}

} // namespace
