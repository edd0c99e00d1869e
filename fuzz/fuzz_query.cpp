// Hostile SQL on hostile records: the first line is the SQL, the rest are records. A record whose bytes are not text is
// put before them, so that they are not taken for a log. The SQL ends within its limits, with rows or with a one-line
// error, and changes no file.
#include "require.h"
#include <query/database.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using namespace vel;
using vel::fuzz::require;

// A folder for the input, with an empty folder in it.
struct Folder {
  Folder() {
    std::string name = (fs::temp_directory_path() / "fuzz-query-XXXXXX").string();
    require(mkdtemp(name.data()) != nullptr, "no folder");
    path = name;
    fs::create_directory(working());
  }
  ~Folder() { fs::remove_all(path); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  fs::path working() const { return path / "working"; }

  fs::path path;
};

// While this exists, the current folder is the empty one, so that a file made by the SQL would be noticed.
struct InFolder {
  explicit InFolder(const fs::path& folder) { fs::current_path(folder); }
  ~InFolder() { fs::current_path(before); }
  InFolder(const InFolder&) = delete;
  InFolder& operator=(const InFolder&) = delete;

  fs::path before = fs::current_path();
};

void readAll(query::Statement& rows) {
  constexpr int most = 200;
  std::size_t bytes = 0;
  for (int count = 0; count < most && rows.step(); ++count) {
    for (std::size_t i = 0; i < rows.columns(); ++i) {
      const query::ValueType type = rows.type(i);
      bytes += type == query::ValueType::blob ? rows.blob(i).size() : rows.text(i).size();
    }
  }
  require(bytes < std::size_t{1} << 32, "more than could be");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Folder folder;
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const std::string_view sql = input.substr(0, input.find('\n'));
  const std::string_view content = input.substr(std::min(sql.size() + 1, size));
  const fs::path file = folder.path / "input";
  std::ofstream(file, std::ios::binary | std::ios::trunc) << std::string(48, '\1') << content;
  const InFolder inFolder(folder.working());
  sources::Sources sources({file.string()}, {});
  query::Database database(sources, {.time = std::chrono::milliseconds(20), .memory = std::size_t{64} << 20});
  try {
    query::Statement rows = database.prepare(sql);
    readAll(rows);
  } catch (const query::Error& error) {
    const std::string_view line = error.what();
    require(line.starts_with("the SQL"), "an error that does not say what is wrong");
  }
  // The database still works. Only on a busy machine may it fail to answer in time.
  try {
    query::Statement again = database.prepare("SELECT count(*) FROM records WHERE sequence_num < 10");
    require(again.step(), "a statement that must have a row has none");
  } catch (const query::Error& error) {
    require(std::string_view(error.what()).find("has not ended within") != std::string_view::npos, error.what());
  }
  require(fs::is_empty(folder.working()), "the SQL has made a file");
  return 0;
}
