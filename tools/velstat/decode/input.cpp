// read(2) into the caller's buffer; no mapping, so that a growing or shrinking file does no harm and memory stays flat.
#include <decode/input.h>

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vel::stat {

void enlargePipe(int descriptor) noexcept {
  constexpr int size = 1 << 20; // what the system allows to all; where it does not, the pipe works all the same
  fcntl(descriptor, F_SETPIPE_SZ, size);
}

Input::Input(std::vector<std::string> names, Complaints& complaints)
    : names_(std::move(names)), complaints_(complaints) {}

Input::~Input() {
  closeFile();
}

void Input::closeFile() noexcept {
  if (descriptor_ > STDIN_FILENO) {
    close(descriptor_);
  }
  descriptor_ = -1;
}

bool Input::nextFile() {
  closeFile();
  while (next_ < names_.size()) {
    const std::string& name = names_[next_++];
    const bool standardInput = name == "-";
    shownName_ = standardInput ? "standard input" : name;
    descriptor_ = standardInput ? STDIN_FILENO : open(name.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status = {};
    if (descriptor_ < 0 || fstat(descriptor_, &status) != 0) {
      complaints_.say(fmt::format("{}: {}", shownName_, std::strerror(errno)));
    } else if (S_ISDIR(status.st_mode)) {
      complaints_.say(fmt::format("{}: {}", shownName_, std::strerror(EISDIR)));
    } else {
      mayWait_ = !S_ISREG(status.st_mode);
      enlargePipe(descriptor_);
      return true;
    }
    closeFile();
  }
  return false;
}

bool Input::hasMoreAtOnce() const noexcept {
  if (!mayWait_) {
    return true;
  }
  pollfd waiting = {descriptor_, POLLIN, 0};
  return poll(&waiting, 1, 0) > 0;
}

std::size_t Input::read(unsigned char* out, std::size_t size) {
  std::size_t got = 0;
  while (got < size && (got == 0 || hasMoreAtOnce())) {
    const ssize_t step = ::read(descriptor_, out + got, size - got);
    if (step > 0) {
      got += static_cast<std::size_t>(step);
    } else if (step == 0) {
      break;
    } else if (errno != EINTR) {
      complaints_.say(fmt::format("{}: {}", shownName_, std::strerror(errno)));
      break;
    }
  }
  bytesRead_ += got;
  return got;
}

std::uint64_t Input::totalSize() const noexcept {
  std::uint64_t total = 0;
  for (const std::string& name : names_) {
    struct stat status = {};
    const int failed = name == "-" ? fstat(STDIN_FILENO, &status) : ::stat(name.c_str(), &status);
    if (failed != 0 || !S_ISREG(status.st_mode)) {
      return 0;
    }
    total += static_cast<std::uint64_t>(status.st_size);
  }
  return total;
}

} // namespace vel::stat
