#include <capture_result.h>
#include <json_writer.h>

#include <host/error.h>

#include <fmt/format.h>

#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <span>
#include <system_error>

namespace vel::stat {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const fs::path& path, const std::string& reason) {
  throw host::Error(fmt::format("{}: {}", path.string(), reason));
}

// A folder beside the one that is wanted, gone again unless it was moved there.
class TemporaryFolder {
public:
  explicit TemporaryFolder(const fs::path& wanted) : path_(wanted.string() + ".XXXXXX") {
    std::string name = path_.string();
    if (mkdtemp(name.data()) == nullptr) {
      fail(wanted, std::strerror(errno));
    }
    path_ = name;
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const fs::path& path() const { return path_; }
  void moveTo(const fs::path& wanted) {
    fs::permissions(path_, fs::perms(0777) & ~currentMask());
    if (std::rename(path_.c_str(), wanted.c_str()) != 0) {
      fail(wanted, std::strerror(errno));
    }
  }

private:
  static fs::perms currentMask() {
    const mode_t mask = umask(0);
    umask(mask);
    return fs::perms(mask);
  }

  fs::path path_;
};

void writeFile(const fs::path& path, std::span<const std::byte> bytes) {
  std::ofstream file(path, std::ios::binary);
  file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  file.close();
  if (!file) {
    fail(path, std::strerror(errno));
  }
}

// A title as part of a file name: what a file name cannot hold, or a shell would stumble over, becomes "_".
std::string fileName(std::string_view title) {
  std::string name;
  for (const char c : title) {
    const bool plain = c >= ' ' && c < 0x7F && std::strchr("/\\\"'`$*?<>|&", c) == nullptr;
    name += plain ? c : '_';
  }
  return name;
}

fs::path withoutSlash(const fs::path& folder) {
  return folder.has_filename() ? folder : folder.parent_path();
}

} // namespace

void writeCapture(const CaptureResult& result, const std::filesystem::path& folder) {
  const fs::path wanted = withoutSlash(folder);
  std::error_code error;
  if (fs::exists(wanted, error) && !fs::is_directory(wanted, error)) {
    fail(folder, "exists and is no folder");
  }
  if (fs::exists(wanted, error) && !fs::is_empty(wanted, error)) {
    fail(folder, "exists and is not empty");
  }

  TemporaryFolder files(wanted);
  std::size_t number = 0;
  for (const host::CapturedRecord& captured : result.records) {
    const std::string name = fmt::format("{:03}-{}", ++number, fileName(captured.record.title));
    writeFile(files.path() / (name + ".state"), captured.record.bytes);
    writeFile(files.path() / (name + ".plist"), captured.record.data());
  }
  std::string log;
  for (const control::LogLine& line : result.log) {
    JsonWriter json(log, JsonWriter::Form::oneLine);
    writeLogLine(json, line);
    log += '\n';
  }
  writeFile(files.path() / "log.jsonl", std::as_bytes(std::span(log)));
  files.moveTo(wanted);
}

} // namespace vel::stat
