// Everything is written into a folder with a temporary name, by the one thread that may also remove it. A single
// rename(2) then gives the folder its name; nothing in it is changed after that.
#include "velstat/capture/output_folder.h"

#include <control/unfinished_folder.h>
#include <velstat/capture/ending_signals.h>
#include <velstat/capture/folder_attributes.h>
#include <velstat/text/error.h>
#include <velstat/text/output.h>

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace vel::stat {

namespace {

namespace fs = std::filesystem;

fs::path withoutSlashes(const fs::path& path) {
  std::string text = path.string();
  while (text.size() > 1 && text.back() == '/') {
    text.pop_back();
  }
  return text;
}

// A mount point cannot be renamed over.
bool isMountPoint(const fs::path& path) {
  struct statx status {};
  return statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, STATX_TYPE, &status) == 0 &&
         (status.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0;
}

// A new file. Throws std::system_error.
class FileSink final : public BlockSink {
public:
  explicit FileSink(const fs::path& path)
      : descriptor_(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666)) {
    require(descriptor_ >= 0);
  }
  ~FileSink() override {
    if (descriptor_ >= 0) {
      ::close(descriptor_);
    }
  }

  void close() {
    flush();
    require(::close(std::exchange(descriptor_, -1)) == 0); // a network file system may report a full disk only here
  }

private:
  void write(std::string_view block) override { require(writeAll(descriptor_, block)); }
  static void require(bool done) {
    if (!done) {
      throw std::system_error(errno, std::generic_category());
    }
  }

  int descriptor_;
};

struct Interrupted {};

} // namespace

OutputFolder::OutputFolder(const fs::path& named) : named_(named), path_(withoutSlashes(named)) {
  const fs::path name = path_.filename();
  if (name.empty() || name == "." || name == "..") {
    fail("cannot be replaced: name a new folder");
  }
  struct stat status {};
  if (lstat(path_.c_str(), &status) != 0) {
    if (errno != ENOENT) {
      fail(std::strerror(errno));
    }
  } else if (S_ISLNK(status.st_mode)) {
    fail("is a symbolic link: name the folder itself");
  } else if (!S_ISDIR(status.st_mode)) {
    fail("exists and is no folder");
  } else if (isMountPoint(path_)) {
    fail("is a mount point and cannot be replaced: name a new folder in it");
  } else {
    std::error_code error;
    const bool empty = fs::is_empty(path_, error);
    if (error || !empty) {
      fail(error ? error.message() : "exists and is not empty");
    }
  }
  const fs::path parent = path_.has_parent_path() ? path_.parent_path() : fs::path(".");
  if (faccessat(AT_FDCWD, parent.c_str(), W_OK | X_OK, AT_EACCESS) != 0) {
    fail(std::strerror(errno));
  }
}

void OutputFolder::fail(const std::string& reason) const {
  throw Error(fmt::format("{}: {}", named_.string(), reason));
}

void OutputFolder::write(const std::vector<OutputFile>& files) const {
  write([&](const Add& add) { std::for_each(files.begin(), files.end(), add); });
}

void OutputFolder::write(const std::function<void(const Add&)>& fill) const {
  const EndingSignals signals; // destroyed last, so the unfinished folder is removed before a signal ends the process
  fs::path place = named_;     // for error messages
  try {
    control::UnfinishedFolder folder(path_.parent_path());
    fs::perms permissions = folder.permissions();
    if (const fs::file_status existing = fs::symlink_status(path_); fs::is_directory(existing)) {
      permissions = existing.permissions();
      takeAttributes(path_, folder.path());
    }
    fs::path made; // the subfolder that was created last
    fill([&](const OutputFile& file) {
      if (EndingSignals::arrived()) {
        throw Interrupted();
      }
      place = named_ / file.name;
      const fs::path path = folder.path() / file.name;
      if (path.parent_path() != folder.path() && path.parent_path() != made) {
        made = path.parent_path();
        fs::create_directories(made);
      }
      FileSink sink(path);
      file.write(sink);
      sink.close();
    });
    place = named_;
    if (!EndingSignals::arrived()) {
      folder.moveTo(path_, permissions);
    }
  } catch (const Interrupted&) {
    return;
  } catch (const std::system_error& error) {
    throw Error(fmt::format("{}: {}", place.string(), error.code().message()));
  }
}

} // namespace vel::stat
