// Which files are stores; all others are refused and not touched.
#include "tally_fixture.h"

#include <fcntl.h>
#include <functional>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

using namespace vel::control;

namespace {

class TallyFiles : public TallyFile {
protected:
  // Both ways in give the same line, and leave the file and its folder as they were.
  void expectRefusal(const std::string& cause) {
    const std::string content = contentOf(path);
    const std::vector<std::string> before = files();
    EXPECT_EQ(errorOf([&] { readTallyStore(path); }), path.string() + ": " + cause);
    EXPECT_EQ(errorOf([&] { openTallyStore(path); }), path.string() + ": " + cause);
    EXPECT_EQ(contentOf(path), content);
    EXPECT_EQ(files(), before);
    add("key", 1); // no store is open
    EXPECT_EQ(contentOf(path), content);
  }
};

TEST_F(TallyFiles, NewStore_IsEmpty_AndStandsAlone) {
  openTallyStore(path);
  EXPECT_EQ(readTallyStore(path).size(), 0U);
  closeTallyStore();
  EXPECT_EQ(files(), std::vector<std::string>{"tally.sqlite"});
  EXPECT_EQ(sql(path, "PRAGMA application_id; PRAGMA user_version; PRAGMA journal_mode"), "1413565529\n1\nwal\n");
}

TEST_F(TallyFiles, StoreInMemory_MakesNoFile_AndBecomesOne) {
  openTallyStoreInMemory();
  add("scalar", 2);
  push("wide", 1.5);
  EXPECT_TRUE(files().empty());
  const std::vector<Row> kept = tallyRows();
  const std::string image = tallyImage();
  closeTallyStore();
  EXPECT_EQ(errorOf([] { tallyRows(); }), "no store is open");
  EXPECT_EQ(errorOf([] { tallyImage(); }), "no store is open");

  writeFile(path, image);
  EXPECT_EQ(sql(path, "PRAGMA journal_mode; PRAGMA integrity_check"), "wal\nok\n");
  ASSERT_EQ(kept.size(), 2U);
  for (const Row& one : kept) {
    EXPECT_EQ(row(one.key, one.kind).lastChange, one.lastChange);
  }
  openTallyStore(path);
  add("scalar", 1);
  push("wide", 2.5);
  EXPECT_EQ(scalar("scalar"), 3);
  EXPECT_EQ(distribution("wide").mean, 2);
}

TEST_F(TallyFiles, NewStoreInMemory_IsEmpty) {
  openTallyStoreInMemory();
  add("key", 1);
  openTallyStoreInMemory();
  EXPECT_TRUE(tallyRows().empty());
  writeFile(path, tallyImage());
  EXPECT_TRUE(rows().empty());
}

struct Damage {
  const char* name;
  std::function<void(const std::filesystem::path&)> make; // from a whole store
  const char* cause;
};

class TallyRefusal : public TallyFiles, public testing::WithParamInterface<Damage> {
protected:
  static void cutTo(const std::filesystem::path& file, std::uintmax_t size) {
    std::filesystem::resize_file(file, size);
  }
};

TEST_P(TallyRefusal, SaysWhy_AndLeavesTheFileAlone) {
  fill();
  GetParam().make(path);
  expectRefusal(GetParam().cause);
}

void overwrite(const std::filesystem::path& file, std::streamoff offset, const std::string& bytes) {
  std::fstream stream(file, std::ios::binary | std::ios::in | std::ios::out);
  stream.seekp(offset);
  stream << bytes;
}

// Runs SQL on the file and leaves no companion files.
auto statement(const char* text) {
  return [text](const std::filesystem::path& file) {
    sqlite3* opened = nullptr;
    sqlite3_open(file.c_str(), &opened);
    EXPECT_EQ(sqlite3_exec(opened, text, nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(opened);
    EXPECT_EQ(sqlite3_close(opened), SQLITE_OK);
  };
}

auto content(std::string bytes) {
  return [bytes](const std::filesystem::path& file) { std::ofstream(file, std::ios::binary) << bytes; };
}

constexpr char kForeign[] = "damaged (its tables are not those of a TallyStore)";

INSTANTIATE_TEST_SUITE_P(
    Rows, TallyRefusal,
    testing::Values(
        Damage{"Empty", content(""), "not a TallyStore (empty)"},
        Damage{"Text", content("com.tavik.kip.test 4\n"), "not a TallyStore (not a database)"},
        Damage{"LongText", content(std::string(100'000, 'a')), "not a TallyStore (not a database)"},
        Damage{"Zeros", content(std::string(8192, '\0')), "not a TallyStore (not a database)"},
        Damage{"OtherDatabase",
               [](const auto& file) {
                 std::filesystem::remove(file);
                 statement("PRAGMA journal_mode = WAL; CREATE TABLE scalar (key, value)")(file);
               },
               "not a TallyStore (another program's database)"},
        Damage{"OtherApplication", statement("PRAGMA application_id = 1"),
               "not a TallyStore (another program's database)"},
        Damage{"NewerVersion", statement("PRAGMA user_version = 2"),
               "made by a newer version (format 2; this one knows format 1)"},
        Damage{"FarNewerVersion", statement("PRAGMA user_version = -1"),
               "made by a newer version (format 4294967295; this one knows format 1)"},
        Damage{"NoVersion", statement("PRAGMA user_version = 0"), "damaged (format 0)"},
        Damage{"CutInTheHeader", [](const auto& file) { std::filesystem::resize_file(file, 60); },
               "damaged (cut off after 60 bytes)"},
        Damage{"CutAfterTheHeader", [](const auto& file) { std::filesystem::resize_file(file, 100); },
               "damaged (cut off after 100 bytes)"},
        Damage{"CutToOnePage", [](const auto& file) { std::filesystem::resize_file(file, 4096); },
               "damaged (database disk image is malformed)"},
        Damage{"CutByOnePage",
               [](const auto& file) { std::filesystem::resize_file(file, std::filesystem::file_size(file) - 4096); },
               "damaged (database disk image is malformed)"},
        Damage{"CutInAPage", [](const auto& file) { std::filesystem::resize_file(file, 9000); },
               "damaged (cut off after 9000 bytes)"},
        Damage{"CutInTheMiddleOfAPage", [](const auto& file) { std::filesystem::resize_file(file, 4096 + 2048); },
               "damaged (cut off after 6144 bytes)"},
        Damage{"ZeroedPage", [](const auto& file) { overwrite(file, 4096, std::string(4096, '\0')); },
               "damaged (*** in database main ***)"},
        Damage{"NoTables", statement("DROP VIEW tally; DROP TABLE scalar; DROP TABLE distribution"), kForeign},
        Damage{"OneTableLess", statement("DROP TABLE scalar"), kForeign},
        Damage{"OtherColumns", statement("DROP TABLE scalar; CREATE TABLE scalar (key TEXT, value REAL)"), kForeign},
        Damage{"OneColumnMore", statement("ALTER TABLE distribution ADD COLUMN more TEXT"), kForeign},
        Damage{"Trigger", statement("CREATE TRIGGER zzz AFTER INSERT ON scalar BEGIN DELETE FROM distribution; END"),
               "damaged (it holds more than a TallyStore)"},
        Damage{"OneTableMore", statement("CREATE TABLE another (a)"), kForeign},
        Damage{"NegativeOverflows", statement("UPDATE scalar SET overflows = -1 WHERE key = 'scalar7'"),
               "damaged (scalar7: a count is below zero)"},
        Damage{"OtherCount", statement("UPDATE distribution SET count = 99 WHERE key = 'narrow'"),
               "damaged (narrow: its samples cannot be read)"},
        Damage{"NoSamples", statement("UPDATE distribution SET samples = x'' WHERE key = 'narrow'"),
               "damaged (narrow: its samples cannot be read)"},
        Damage{"OtherSamples",
               statement("UPDATE distribution SET samples = "
                         "(SELECT samples FROM distribution WHERE key = 'wide') WHERE key = 'narrow'"),
               "damaged (narrow: its samples cannot be read)"},
        Damage{
            "CutSamples",
            statement("UPDATE distribution SET samples = substr(samples, 1, length(samples) - 1) WHERE key = 'wide'"),
            "damaged (wide: its samples cannot be read)"},
        Damage{"MoreSamples",
               statement("UPDATE distribution SET samples = CAST(samples || x'00' AS BLOB) WHERE key = 'wide'"),
               "damaged (wide: its samples cannot be read)"}),
    [](const auto& info) { return info.param.name; });

TEST_F(TallyFiles, MoreKeysThanAnyPlugInHas_AreWrittenToButNotRead) {
  openTallyStore(path);
  add("key", 1);
  sql(path, "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 99999) "
            "INSERT INTO scalar (key, value, overflows) SELECT i, i, 0 FROM n");
  EXPECT_EQ(rows().size(), 100'000U);
  push("key", 1);
  EXPECT_EQ(errorOf([&] { rows(); }), path.string() + ": more than the 100000 keys that are allowed");
  openTallyStore(path);
  add("key", 1);
  EXPECT_EQ(sql(path, "SELECT value FROM scalar WHERE key = 'key'"), "2\n");
}

TEST_F(TallyFiles, TextsAndSamples_AreReadUpTo16MiB) {
  fill();
  const auto keyOf = [this](int size) {
    const std::string key = "substr(hex(zeroblob(10000000)), 1, " + std::to_string(size) + ")";
    statement(("UPDATE scalar SET key = " + key + " WHERE value = 7").c_str())(path);
  };
  keyOf(1 << 24);
  EXPECT_EQ(rows().size(), 202U);
  keyOf((1 << 24) + 1);
  expectRefusal("string or blob too big");
}

TEST_F(TallyFiles, KeysAreReadUpTo32MiBTogether) {
  openTallyStore(path);
  add("key", 1);
  closeTallyStore();
  sql(path, "INSERT INTO scalar (key, value, overflows) SELECT i || hex(zeroblob(8388606)), i, 0 FROM "
            "(SELECT 1 AS i UNION ALL SELECT 2)"); // with "key" 3 bytes less than 32 MiB
  EXPECT_EQ(rows().size(), 3U);
  sql(path, "UPDATE scalar SET key = 'key and more' WHERE key = 'key'");
  EXPECT_EQ(errorOf([&] { rows(); }), path.string() + ": keys of more than the 33554432 bytes that are allowed");
}

TEST_F(TallyFiles, LongKeys_AreCutInErrors) {
  openTallyStore(path);
  push(std::string(63, 'k') + "\u20ACl", 1);
  closeTallyStore();
  sql(path, "UPDATE distribution SET samples = x''");
  EXPECT_EQ(errorOf([&] { rows(); }),
            path.string() + ": damaged (" + std::string(63, 'k') + "…: its samples cannot be read)");
}

TEST_F(TallyFiles, MissingFile_CannotBeRead_AndIsNotMade) {
  EXPECT_EQ(errorOf([&] { readTallyStore(path); }), path.string() + ": No such file or directory");
  EXPECT_TRUE(files().empty());
}

TEST_F(TallyFiles, MissingFolder_IsNamedAsTheCause) {
  path = folder_ / "missing" / "tally.sqlite";
  EXPECT_EQ(errorOf([&] { openTallyStore(path); }), path.string() + ": No such file or directory");
}

// What a function throws when its user has no rights but those that the folder's mode gives to all.
template <class Function>
std::string errorOfAnotherUser(Function function) {
  int ends[2];
  EXPECT_EQ(pipe(ends), 0);
  const pid_t other = fork();
  if (other == 0) {
    constexpr uid_t nobody = 65534;
    const bool isOther = geteuid() != 0 || (setgid(nobody) == 0 && setuid(nobody) == 0); // root may do anything
    const std::string error = isOther ? function() : "cannot become another user";
    _exit(write(ends[1], error.data(), error.size()) == static_cast<ssize_t>(error.size()) ? 0 : 1);
  }
  close(ends[1]);
  std::string error;
  for (char byte = 0; read(ends[0], &byte, 1) == 1;) {
    error += byte;
  }
  close(ends[0]);
  int status = 0;
  waitpid(other, &status, 0);
  EXPECT_EQ(status, 0);
  return error;
}

TEST_F(TallyFiles, FolderThatOneMayNotAddTo_IsNamedAsTheCause) {
  for (const mode_t mode : {0555U, 0666U, 0444U}) { // without writing, without entering, without both
    chmod(folder_.c_str(), mode);
    EXPECT_EQ(errorOfAnotherUser([&] { return errorOf([&] { openTallyStore(path); }); }),
              path.string() + ": cannot be made in this folder (Permission denied): name a store in a folder that you "
                              "may write to")
        << std::oct << mode;
  }
  chmod(folder_.c_str(), 0777);
  EXPECT_EQ(errorOfAnotherUser([&] { return errorOf([&] { openTallyStore(path); }); }), "");
  EXPECT_TRUE(std::filesystem::exists(path));
}

TEST_F(TallyFiles, RemainsOfAStoreThatWasNotFinished_AreRemoved) {
  for (const std::string& process :
       {std::to_string(getpid()), std::string("1")}) { // this number's earlier process, too
    const auto unfinished = folder_ / (".vel-new-" + process + ".0");
    std::filesystem::create_directory(unfinished);
    writeFile(unfinished / "store", "old");
    writeFile(unfinished / "store-journal", "old");
  }
  openTallyStore(path);
  EXPECT_EQ(rows().size(), 0U);
  closeTallyStore();
  EXPECT_EQ(files(), std::vector<std::string>{"tally.sqlite"});
}

TEST_F(TallyFiles, WhatIsNoFile_IsRefusedWithoutWaiting) {
  for (const std::filesystem::path& place : {folder_, folder_ / "pipe"}) {
    mkfifo((folder_ / "pipe").c_str(), 0600);
    path = place;
    for (const auto& error : {errorOf([&] { readTallyStore(path); }), errorOf([&] { openTallyStore(path); })}) {
      EXPECT_EQ(error, path.string() + ": not a TallyStore (not a regular file)");
    }
  }
}

TEST_F(TallyFiles, RefusedFile_LeavesTheOpenStoreOpen) {
  const auto foreign = folder_ / "foreign";
  writeFile(foreign, "text");
  openTallyStore(path);
  EXPECT_NE(errorOf([&] { openTallyStore(foreign); }), "");
  add("key", 1);
  EXPECT_EQ(scalar("key"), 1);
}

// SQLite takes the log next to a file for the log of any file with that name.
TEST_F(TallyFiles, LeftOverLog_IsNotTakenForTheNewStores) {
  openTallyStore(path);
  add("old", 1);
  const std::string log = contentOf(path.string() + "-wal");
  closeTallyStore();
  std::filesystem::remove(path);
  writeFile(path.string() + "-wal", log);
  EXPECT_EQ(errorOf([&] { openTallyStore(path); }),
            path.string() +
                ": a store that is gone has left its file with -wal at the end of the name: remove that first");
  EXPECT_EQ(files(), std::vector<std::string>{"tally.sqlite-wal"});
  EXPECT_EQ(contentOf(path.string() + "-wal"), log);
}

TEST_F(TallyFiles, OddNames_AreJustNames) {
  for (const char* name : {"a b", "50%25?mode=ro#x", ":memory:", "file:x", "-"}) {
    path = folder_ / name;
    openTallyStore(path);
    add("key", 1);
    EXPECT_EQ(scalar("key"), 1) << name;
    closeTallyStore();
    EXPECT_EQ(scalar("key"), 1) << name;
    EXPECT_TRUE(std::filesystem::exists(path)) << name;
  }
}

TEST_F(TallyFiles, RelativeName_IsThatOfTheWorkingFolder) {
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(folder_);
  openTallyStore("new.sqlite");
  add("key", 1);
  closeTallyStore();
  EXPECT_EQ(readTallyStore("new.sqlite").size(), 1U);
  std::filesystem::current_path(before);
  EXPECT_EQ(files(), std::vector<std::string>{"new.sqlite"});
}

TEST_F(TallyFiles, Link_LeadsToTheStore) {
  const auto store = folder_ / "store";
  std::filesystem::create_directory(store);
  path = store / "tally.sqlite";
  fill();
  const std::size_t keys = rows().size();
  std::filesystem::create_symlink(path, folder_ / "link");
  path = folder_ / "link";
  openTallyStore(path);
  add("more", 1);
  EXPECT_EQ(rows().size(), keys + 1); // including what is still in the log next to the file
  closeTallyStore();
  EXPECT_EQ(files(), (std::vector<std::string>{"link", "store"}));
}

TEST_F(TallyFiles, StoresOfEveryPlatform_HoldTheSameBytes) {
  setTallyTime(1'700'000'000'000'000);
  openTallyStore(path);
  push("key", 1.5, 3);
  push("key", -2);
  // count, sum, lost, mean and squares before the run; the run's sample and weight; min, max; two values
  EXPECT_EQ(sql(path, "SELECT lower(hex(samples)) FROM distribution"),
            "03"
            "0000000000001240" // 4.5
            "0000000000000000"
            "000000000000f83f" // 1.5
            "0000000000000000"
            "00000000000000c0" // -2
            "01"
            "00000000000000c0"
            "000000000000f83f"
            "0002"
            "00000000000000c0"
            "01"
            "000000000000f83f"
            "03"
            "\n");
}

} // namespace
