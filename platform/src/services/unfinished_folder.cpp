// The lock is flock(2) on the folder: the kernel drops it however the process ends, and unlike a process id it means
// the same in every container that shares the file system.
#include <control/unfinished_folder.h>

#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <string_view>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace vel::control {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view prefix = ".vel-new-";

int openFolder(const fs::path& path) {
  return open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
}

void removeLocked(const fs::path& path, int descriptor) noexcept {
  fchmod(descriptor, S_IRWXU); // it may have the permissions of the folder that it was to become
  std::error_code ignored;
  fs::remove_all(path, ignored);
}

void removeAbandoned(const fs::path& parent) {
  std::error_code error;
  for (fs::directory_iterator entry(parent, error), end; !error && entry != end; entry.increment(error)) {
    if (!entry->path().filename().string().starts_with(prefix)) {
      continue;
    }
    if (const int descriptor = openFolder(entry->path()); descriptor >= 0) {
      // Where folders cannot be locked, as on some network file systems, it is kept, because its process may be
      // running.
      if (flock(descriptor, LOCK_EX | LOCK_NB) == 0) {
        removeLocked(entry->path(), descriptor);
      }
      close(descriptor);
    }
  }
}

void require(bool done) {
  if (!done) {
    throw std::system_error(errno, std::generic_category());
  }
}

} // namespace

UnfinishedFolder::UnfinishedFolder(const fs::path& parent) {
  const fs::path place = parent.empty() ? fs::path(".") : parent;
  removeAbandoned(place);
  unsigned number = 0;
  do {
    path_ = place / fmt::format("{}{}.{}", prefix, getpid(), number++);
  } while (!make());
}

UnfinishedFolder::~UnfinishedFolder() {
  if (!path_.empty()) {
    removeLocked(path_, descriptor_);
  }
  close(descriptor_);
}

// False when another name has to be tried.
bool UnfinishedFolder::make() {
  if (mkdir(path_.c_str(), 0777) != 0) {
    return errno == EEXIST ? false : (require(false), false);
  }
  try {
    open();
    return true;
  } catch (const std::system_error& error) {
    if (descriptor_ >= 0) {
      close(std::exchange(descriptor_, -1));
    }
    if (error.code() == std::errc::no_such_file_or_directory || error.code() == std::errc::operation_would_block) {
      return false; // before it was locked, another process took it for an abandoned one, and removes it
    }
    rmdir(path_.c_str());
    throw;
  }
}

// Locks the folder that was just made, and makes sure that it is still there.
void UnfinishedFolder::open() {
  struct stat made {};
  require(lstat(path_.c_str(), &made) == 0);
  permissions_ = fs::perms(made.st_mode) & fs::perms::mask;
  if ((made.st_mode & S_IRWXU) != S_IRWXU) { // only if needed: chmod may clear other bits
    require(chmod(path_.c_str(), made.st_mode | S_IRWXU) == 0);
  }
  descriptor_ = openFolder(path_);
  require(descriptor_ >= 0);
  require(flock(descriptor_, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK);
  struct stat locked {};
  require(fstat(descriptor_, &locked) == 0 && lstat(path_.c_str(), &made) == 0);
  if (locked.st_ino != made.st_ino) {
    throw std::system_error(std::make_error_code(std::errc::no_such_file_or_directory));
  }
}

void UnfinishedFolder::moveTo(const fs::path& wanted, fs::perms permissions) {
  struct stat status {};
  require(fstat(descriptor_, &status) == 0);
  if ((fs::perms(status.st_mode) & fs::perms::mask) != permissions) {
    require(fchmod(descriptor_, static_cast<mode_t>(permissions)) == 0);
  }
  require(std::rename(path_.c_str(), wanted.c_str()) == 0);
  path_.clear();
}

} // namespace vel::control
