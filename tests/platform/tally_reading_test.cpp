// How a store is read, with other programs reading and writing it.
#include "tally_fixture.h"

#include <fcntl.h>
#include <functional>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

using namespace vel::control;

namespace {

class TallyReading : public TallyFile {};

TEST_F(TallyReading, PagesOfEverySize_AreRead_AndMissedWhenTheyAreCut) {
  for (const char* const size : {"512", "32768", "65536"}) {
    std::filesystem::remove(path);
    fill();
    sql(path, "PRAGMA journal_mode = DELETE; PRAGMA page_size = " + std::string(size) + "; VACUUM");
    EXPECT_EQ(sql(path, "PRAGMA page_size"), size + std::string("\n"));
    EXPECT_EQ(rows().size(), 202U) << size;
    const auto cut = std::filesystem::file_size(path) - 100;
    std::filesystem::resize_file(path, cut);
    EXPECT_EQ(errorOf([&] { rows(); }), path.string() + ": damaged (cut off after " + std::to_string(cut) + " bytes)");
  }
}

TEST_F(TallyReading, PagesOfNoSize_AreDamage) {
  fill();
  std::string content = contentOf(path);
  content[16] = content[17] = '\0';
  writeFile(path, content);
  EXPECT_EQ(errorOf([&] { rows(); }),
            path.string() + ": damaged (cut off after " + std::to_string(content.size()) + " bytes)");
}

TEST_F(TallyReading, ReadingASettledStore_LeavesNothingBeside) {
  fill();
  const std::string before = contentOf(path);
  EXPECT_EQ(rows().size(), 202U);
  EXPECT_EQ(files(), std::vector<std::string>{"tally.sqlite"});
  EXPECT_EQ(contentOf(path), before);
}

// A change to the store after it has been read, but before it is closed. Only the one thing named tells that the file
// is not as it was.
struct Change {
  const char* name;
  int seconds = 0; // later
  int nanoseconds = 0;
  bool grows = false;
  bool isAnotherFile = false;
};

class TallyChange : public TallyReading, public testing::WithParamInterface<Change> {
protected:
  void SetUp() override {
    TallyReading::SetUp();
    change = [this] { makeChange(); };
  }
  void TearDown() override {
    change = nullptr;
    sqlite3_reset_auto_extension();
    TallyReading::TearDown();
  }

  void makeChange() const {
    const Change& row = GetParam();
    struct stat before {};
    ASSERT_EQ(stat(path.c_str(), &before), 0);
    auto changed = path;
    if (row.isAnotherFile) {
      changed += ".other";
      std::filesystem::copy_file(path, changed);
    }
    sql(changed, "UPDATE scalar SET value = 1000 WHERE key = 'scalar7'");
    if (row.grows) {
      sql(changed, "UPDATE scalar SET key = key || hex(zeroblob(5000)) WHERE value = 8");
    }
    EXPECT_EQ(std::filesystem::file_size(changed) != static_cast<std::uintmax_t>(before.st_size), row.grows);
    const timespec times[] = {{.tv_sec = 0, .tv_nsec = UTIME_OMIT},
                              {.tv_sec = before.st_mtim.tv_sec + row.seconds,
                               .tv_nsec = (before.st_mtim.tv_nsec + row.nanoseconds) % 1'000'000'000}};
    EXPECT_EQ(utimensat(AT_FDCWD, changed.c_str(), times, 0), 0);
    std::filesystem::rename(changed, path);
  }

  // Has SQLite call `change` once, when the next connection is about to be closed.
  static void awaitClose() {
    const auto onOpen = [](sqlite3* database, char**, const sqlite3_api_routines*) {
      const auto onClose = [](unsigned, void*, void*, void*) {
        if (const auto once = std::exchange(change, nullptr)) {
          once();
        }
        return 0;
      };
      return sqlite3_trace_v2(database, SQLITE_TRACE_CLOSE, onClose, nullptr);
    };
    sqlite3_auto_extension(reinterpret_cast<void (*)()>(+onOpen));
  }

  static inline std::function<void()> change;
};

TEST_P(TallyChange, WhileAStoreIsRead_IsSeen) {
  fill();
  ASSERT_EQ(scalar("scalar7"), 7);
  awaitClose();
  EXPECT_EQ(scalar("scalar7"), 1000);
  EXPECT_FALSE(change);
}

INSTANTIATE_TEST_SUITE_P(Rows, TallyChange,
                         testing::Values(Change{.name = "OfTheSecond", .seconds = 1},
                                         Change{.name = "OfAFractionOfASecond", .nanoseconds = 1},
                                         Change{.name = "OfTheSize", .grows = true},
                                         Change{.name = "OfTheFileOfThatName", .isAnotherFile = true}),
                         [](const auto& info) { return info.param.name; });

// Locks of a file belong to the process: to close another handle of the file drops them.
TEST_F(TallyReading, ReadingAnOpenStore_KeepsItsLocks) {
  int go[2];
  ASSERT_EQ(pipe(go), 0);
  const pid_t other = fork(); // before SQLite knows the file, for the child would believe that it has the locks
  if (other == 0) {
    char byte = 0;
    const bool told = read(go[0], &byte, 1) == 1;
    sql(path, "SELECT * FROM tally");
    // The last one out of a store writes its log back and removes it; this one is not the last.
    _exit(told && std::filesystem::exists(path.string() + "-wal") ? 0 : 1);
  }
  openTallyStore(path);
  add("key", 1);
  EXPECT_EQ(scalar("key"), 1);
  EXPECT_EQ(write(go[1], "", 1), 1);
  int status = 0;
  waitpid(other, &status, 0);
  EXPECT_EQ(status, 0);
  close(go[0]);
  close(go[1]);
  add("key", 1);
  EXPECT_EQ(scalar("key"), 2);
}

} // namespace
