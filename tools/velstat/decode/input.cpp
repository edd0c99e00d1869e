// read(2) into the caller's buffer; no mapping, so that a growing or shrinking file does no harm and memory stays flat.
#include "velstat/decode/input.h"

#include <formats/files.h>
#include <velstat/text/output.h>

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vel::stat {

void enlargePipe(int descriptor) noexcept {
  constexpr int size = 1 << 20; // what the system allows to all; where it does not, the pipe works all the same
  fcntl(descriptor, F_SETPIPE_SZ, size);
}

// Without an event, where descriptors have run out, a read that waits ends with its source.
Input::Input(std::vector<std::string> names, Complaints& complaints, Output output)
    : names_(std::move(names)), complaints_(complaints), output_(output), cancelled_(eventfd(0, EFD_CLOEXEC)) {}

Input::~Input() {
  closeFile();
  close(cancelled_);
}

void Input::cancel() noexcept {
  static_cast<void>(eventfd_write(cancelled_, 1));
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
    shownName_ = formats::inputName(name);
    // Not blocking: a named pipe that nobody writes yet is waited for in wait(), as any other.
    descriptor_ = standardInput ? STDIN_FILENO : open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    failed_ = false;
    struct stat status = {};
    if (descriptor_ < 0 || fstat(descriptor_, &status) != 0) {
      complaints_.say(fmt::format("{}: {}", shownName_, std::strerror(errno)));
    } else if (S_ISDIR(status.st_mode)) {
      complaints_.say(fmt::format("{}: {}", shownName_, std::strerror(EISDIR)));
    } else {
      // What cannot be read at all would never have anything.
      mayWait_ = !S_ISREG(status.st_mode) && (fcntl(descriptor_, F_GETFL) & O_ACCMODE) != O_WRONLY;
      enlargePipe(descriptor_);
      return true;
    }
    closeFile();
  }
  return false;
}

// Whether a read will not block, within that time (-1: however long it takes). Throws when there is no use in reading.
bool Input::wait(int milliseconds) const {
  if (!mayWait_) {
    return true;
  }
  // Of the output only what poll tells unasked matters: that its other end is closed.
  pollfd waiting[] = {
      {descriptor_, POLLIN, 0}, {cancelled_, POLLIN, 0}, {output_ == Output::standard ? STDOUT_FILENO : -1, 0, 0}};
  int result = 0;
  do {
    result = poll(waiting, std::size(waiting), milliseconds);
  } while (result < 0 && errno == EINTR);
  if (waiting[1].revents != 0) {
    throw std::runtime_error("reading was cancelled");
  }
  if ((waiting[2].revents & (POLLERR | POLLHUP)) != 0) {
    throw ReaderGone();
  }
  return result < 0 || waiting[0].revents != 0;
}

std::size_t Input::read(unsigned char* out, std::size_t size) {
  std::size_t got = 0;
  while (!failed_ && got < size && wait(got == 0 ? -1 : 0)) {
    const ssize_t step = ::read(descriptor_, out + got, size - got);
    if (step > 0) {
      got += static_cast<std::size_t>(step);
    } else if (step == 0) {
      break;
    } else if (errno != EINTR && errno != EAGAIN) {
      complaints_.say(fmt::format("{}: {}", shownName_, std::strerror(errno)));
      failed_ = true;
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
