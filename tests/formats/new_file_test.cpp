// Files that appear only when they are whole.
#include <formats/error.h>
#include <formats/new_file.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sys/stat.h>

namespace {

using namespace vel::formats;
namespace fs = std::filesystem;

class NewFileTest : public testing::Test {
protected:
  void SetUp() override {
    std::string name = testing::TempDir() + "new-file-XXXXXX";
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    folder = name;
    file = folder / "file";
  }
  void TearDown() override { fs::remove_all(folder); }

  std::string content() const {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }
  std::ptrdiff_t files() const { return std::distance(fs::directory_iterator(folder), {}); }
  static std::string refusal(const fs::path& path) {
    try {
      NewFile file(path);
    } catch (const Error& error) {
      return error.what();
    }
    return "(opened)";
  }

  fs::path folder;
  fs::path file;
};

TEST_F(NewFileTest, AppearsOnlyWhenItIsKept) {
  NewFile fresh(file);
  fresh.write("one ");
  fresh.write("two");
  EXPECT_FALSE(fs::exists(file));
  fresh.keep();
  EXPECT_EQ(content(), "one two");
  EXPECT_EQ(files(), 1);
}

TEST_F(NewFileTest, LeavesTheOldFileUntouchedUnlessItIsKept) {
  std::ofstream(file) << "old";
  {
    NewFile fresh(file);
    fresh.write("new");
  }
  EXPECT_EQ(content(), "old");
  EXPECT_EQ(files(), 1);
}

TEST_F(NewFileTest, HasThePermissionsOfOrdinaryNewFiles) {
  const mode_t mask = umask(027);
  NewFile fresh(file);
  fresh.keep();
  umask(mask);
  struct stat status {};
  ASSERT_EQ(stat(file.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0640U);
}

TEST_F(NewFileTest, RefusesWhatItCannotReplace) {
  EXPECT_EQ(refusal("/dev/null"), "/dev/null: not a regular file");
  EXPECT_EQ(refusal(folder), folder.string() + ": not a regular file");
  EXPECT_EQ(refusal(folder / "missing" / "file"),
            (folder / "missing" / "file").string() + ": No such file or directory");
}

} // namespace
