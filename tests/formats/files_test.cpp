// Reading a file or standard input as a whole.
#include <formats/error.h>
#include <formats/files.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace vel::formats;

class Files : public testing::Test {
protected:
  void SetUp() override {
    std::string name = testing::TempDir() + "files-XXXXXX";
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    folder = name;
    file = folder / "file";
  }
  void TearDown() override { std::filesystem::remove_all(folder); }

  void write(const std::string& content) const { std::ofstream(file, std::ios::binary) << content; }
  using Read = std::string(const std::filesystem::path&, std::size_t);
  static std::string refusal(const std::filesystem::path& path, std::size_t limit, Read* read = readFile) {
    try {
      read(path, limit);
    } catch (const Error& error) {
      return error.what();
    }
    return "(read)";
  }

  std::filesystem::path folder;
  std::filesystem::path file;
};

TEST_F(Files, AreReadWhole) {
  for (const std::size_t size : {0U, 1U, 16384U, 16385U, 100'000U}) {
    std::string content(size, 'x');
    if (size > 0) {
      content.back() = '\0';
    }
    write(content);
    EXPECT_EQ(readFile(file, size), content);
    EXPECT_EQ(readRegularFile(file, size), content);
  }
}

TEST_F(Files, HaveALimit) {
  write(std::string(20'000, 'x'));
  for (Read* const read : {readFile, readRegularFile}) {
    EXPECT_EQ(refusal(file, 20'000, read), "(read)");
    EXPECT_EQ(refusal(file, 19'999, read), file.string() + ": longer than the 19999 bytes that are allowed");
  }
  EXPECT_EQ(refusal("/dev/zero", 100'000), "/dev/zero: longer than the 100000 bytes that are allowed");
}

TEST_F(Files, ThatCannotBeRead_AreNamed) {
  EXPECT_EQ(refusal(file, 1), file.string() + ": No such file or directory");
  EXPECT_EQ(refusal(folder, 1), folder.string() + ": Is a directory");
  EXPECT_EQ(refusal(file, 1, readRegularFile), file.string() + ": No such file or directory");
}

TEST_F(Files, ThatAreNotRegular_AreReadOnlyWhereThatIsAllowed) {
  ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
  EXPECT_EQ(refusal(file, 1, readRegularFile), file.string() + ": not a regular file");
  EXPECT_EQ(refusal(folder, 1, readRegularFile), folder.string() + ": not a regular file");
  EXPECT_EQ(refusal("/dev/null", 1, readRegularFile), "/dev/null: not a regular file");
  EXPECT_EQ(refusal("/dev/null", 1), "(read)");
}

TEST_F(Files, Dash_IsStandardInput) {
  EXPECT_EQ(inputName("-"), "standard input");
  EXPECT_EQ(inputName("./-"), "./-");
  write("from a file");
  const int before = dup(STDIN_FILENO);
  const int opened = open(file.c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(dup2(opened, STDIN_FILENO), STDIN_FILENO);
  EXPECT_EQ(readFile("-", 11), "from a file");
  lseek(STDIN_FILENO, 0, SEEK_SET);
  EXPECT_EQ(refusal("-", 10), "standard input: longer than the 10 bytes that are allowed");
  EXPECT_NE(fcntl(STDIN_FILENO, F_GETFD), -1) << "it stays open";
  dup2(before, STDIN_FILENO);
  close(before);
  close(opened);
}

} // namespace
