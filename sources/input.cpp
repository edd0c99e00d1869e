// Reads with read(2) into the caller's buffer. Files are not mapped, so that a growing or shrinking file is harmless
// and memory stays constant.
#include "sources/input.h"

#include <formats/files.h>

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vel::sources {

void enlargePipe(int descriptor) noexcept {
  constexpr int size = 1 << 20; // Linux's usual limit for unprivileged users; if this fails, the pipe just stays small
  fcntl(descriptor, F_SETPIPE_SZ, size);
}

Cancellation::Cancellation() : event_(eventfd(0, EFD_CLOEXEC)) {}

Cancellation::~Cancellation() {
  ::close(event_);
}

void Cancellation::cancel() noexcept {
  static_cast<void>(eventfd_write(event_, 1));
}

void Input::close() noexcept {
  if (descriptor_ > STDIN_FILENO) {
    ::close(descriptor_);
  }
  descriptor_ = -1;
}

bool Input::open(const std::string& name, const std::string& shownName) {
  close();
  const bool standardInput = name == "-";
  shownName_ = shownName.empty() ? formats::inputName(name) : shownName;
  failed_ = false;
  bytesRead_ = expectedSize_ = 0;
  ahead_.clear();
  aheadTaken_ = 0;
  // Non-blocking, so that open() does not wait for the writer of a named pipe; wait() does, and can be cancelled.
  descriptor_ = standardInput ? STDIN_FILENO : ::open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  struct stat status = {};
  if (descriptor_ < 0 || fstat(descriptor_, &status) != 0) {
    complaints_.say(fmt::format("{}: {}", shownName_, std::strerror(errno)));
  } else if (S_ISDIR(status.st_mode)) {
    complaints_.say(fmt::format("{}: {}", shownName_, std::strerror(EISDIR)));
  } else {
    // A descriptor that is open only for writing is not waited for: it would never become readable.
    mayWait_ = !S_ISREG(status.st_mode) && (fcntl(descriptor_, F_GETFL) & O_ACCMODE) != O_WRONLY;
    isRegular_ = S_ISREG(status.st_mode);
    if (isRegular_) {
      const off_t begin = lseek(descriptor_, 0, SEEK_CUR); // standard input may be in the middle of a file
      expectedSize_ = static_cast<std::uint64_t>(std::max<off_t>(status.st_size - std::max<off_t>(begin, 0), 0));
    }
    enlargePipe(descriptor_);
    return true;
  }
  close();
  return false;
}

// Whether a read will not block within that time (-1: unlimited). Throws if the read is cancelled or pointless.
bool Input::wait(int milliseconds) const {
  if (!mayWait_) {
    return true;
  }
  // The output needs no event flags: poll() always reports that it was closed.
  pollfd waiting[] = {{descriptor_, POLLIN, 0}, {cancellation_.descriptor(), POLLIN, 0}, {watchedOutput_, 0, 0}};
  int result = 0;
  do {
    result = poll(waiting, std::size(waiting), milliseconds);
  } while (result < 0 && errno == EINTR);
  if (waiting[1].revents != 0) {
    throw std::runtime_error("reading was cancelled");
  }
  if ((waiting[2].revents & (POLLERR | POLLHUP)) != 0) {
    throw OutputClosed();
  }
  return result < 0 || waiting[0].revents != 0;
}

std::size_t Input::readFile(unsigned char* out, std::size_t size) {
  std::size_t got = 0;
  while (!failed_ && got < size && wait(got == 0 ? -1 : 0)) {
    const ssize_t step = ::read(descriptor_, out + got, size - got);
    if (step > 0) {
      got += static_cast<std::size_t>(step);
    } else if (step == 0) {
      bytesRead_ += got;
      checkSize();
      return got;
    } else if (errno != EINTR && errno != EAGAIN) {
      complaints_.say(fmt::format("{}: {}", shownName_, std::strerror(errno)));
      failed_ = true;
    }
  }
  bytesRead_ += got;
  return got;
}

// Called at the end of the file.
void Input::checkSize() {
  if (bytesRead_ < expectedSize_) {
    complaints_.say(
        fmt::format("{}: became shorter while it was read: {} of {} bytes", shownName_, bytesRead_, expectedSize_));
    failed_ = true;
  }
}

std::string_view Input::peek(std::size_t least) {
  constexpr std::size_t step = 1 << 14;
  while (ahead_.size() - aheadTaken_ < least) {
    const std::size_t size = ahead_.size();
    ahead_.resize(size + std::max(step, least));
    const std::size_t got = readFile(ahead_.data() + size, ahead_.size() - size);
    ahead_.resize(size + got);
    if (got == 0) {
      break;
    }
  }
  return {reinterpret_cast<const char*>(ahead_.data()) + aheadTaken_, ahead_.size() - aheadTaken_};
}

std::size_t Input::read(unsigned char* out, std::size_t size) {
  if (aheadTaken_ < ahead_.size()) {
    const std::size_t taken = std::min(size, ahead_.size() - aheadTaken_);
    std::memcpy(out, ahead_.data() + aheadTaken_, taken);
    aheadTaken_ += taken;
    return taken;
  }
  return readFile(out, size);
}

} // namespace vel::sources
