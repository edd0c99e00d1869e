// A folder for what is not finished yet, and what is left of one whose process was killed.
#include <control/unfinished_folder.h>

#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace fs = std::filesystem;
using vel::control::UnfinishedFolder;

namespace {

class UnfinishedFolders : public testing::Test {
protected:
  void SetUp() override {
    std::string name = testing::TempDir() + "unfinished-XXXXXX";
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    parent = name;
  }
  void TearDown() override { fs::remove_all(parent); }

  std::set<std::string> names() const {
    std::set<std::string> found;
    for (const auto& entry : fs::directory_iterator(parent)) {
      found.insert(entry.path().filename().string());
    }
    return found;
  }
  static void write(const fs::path& file) { std::ofstream(file) << "content"; }
  static fs::perms permissionsOf(const fs::path& path) { return fs::status(path).permissions(); }

  fs::path parent;
};

TEST_F(UnfinishedFolders, AreRemovedWithTheirContent) {
  {
    const UnfinishedFolder folder(parent);
    EXPECT_EQ(folder.path().parent_path(), parent);
    fs::create_directory(folder.path() / "inner");
    write(folder.path() / "inner" / "file");
    EXPECT_EQ(names().size(), 1U);
  }
  EXPECT_EQ(names(), std::set<std::string>());
}

TEST_F(UnfinishedFolders, AreMoved_WithTheWantedPermissions) {
  {
    UnfinishedFolder folder(parent);
    write(folder.path() / "file");
    folder.moveTo(parent / "wanted", fs::perms(0751));
    EXPECT_EQ(names(), std::set<std::string>{"wanted"});
  }
  EXPECT_TRUE(fs::exists(parent / "wanted" / "file"));
  EXPECT_EQ(permissionsOf(parent / "wanted"), fs::perms(0751));
}

TEST_F(UnfinishedFolders, ReplaceAnEmptyFolder_ButNothingElse) {
  fs::create_directory(parent / "empty");
  fs::create_directories(parent / "full" / "inner");
  write(parent / "file");
  UnfinishedFolder(parent).moveTo(parent / "empty", fs::perms(0700));
  for (const char* const name : {"full", "file", "none/inner"}) {
    EXPECT_THROW(UnfinishedFolder(parent).moveTo(parent / name, fs::perms(0500)), std::system_error) << name;
  }
  EXPECT_EQ(names(), (std::set<std::string>{"empty", "file", "full"}));
}

TEST_F(UnfinishedFolders, SeveralAtOnce_HaveNamesOfTheirOwn) {
  const UnfinishedFolder one(parent);
  const UnfinishedFolder two(parent);
  EXPECT_NE(one.path(), two.path());
  EXPECT_EQ(names().size(), 2U);
}

TEST_F(UnfinishedFolders, CanBeFilled_WhateverTheMask) {
  const mode_t before = umask(0777);
  UnfinishedFolder folder(parent);
  umask(before);
  EXPECT_EQ(folder.permissions(), fs::perms::none);
  EXPECT_EQ(permissionsOf(folder.path()), fs::perms::owner_all);
}

TEST_F(UnfinishedFolders, OfAKilledProcess_IsRemovedByTheNext) {
  const pid_t child = fork();
  if (child == 0) {
    const UnfinishedFolder folder(parent);
    write(folder.path() / "file");
    chmod(folder.path().c_str(), 0500); // as if it was about to be moved
    kill(getpid(), SIGKILL);
  }
  waitpid(child, nullptr, 0);
  const std::set<std::string> left = names();
  ASSERT_EQ(left.size(), 1U);
  const UnfinishedFolder folder(parent);
  EXPECT_EQ(names(), std::set<std::string>{folder.path().filename().string()});
  EXPECT_NE(names(), left);
}

TEST_F(UnfinishedFolders, FolderThatIsNoPlace_IsAnError) {
  for (const fs::path& place : {parent / "missing", fs::path("/proc")}) {
    EXPECT_THROW(UnfinishedFolder{place}, std::system_error) << place;
  }
}

} // namespace
