// read(2) into the caller's buffer; no mapping, so that a growing or shrinking file does no harm and memory stays flat.
#include "input.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vel::decode {

Input::Input(std::vector<std::string> names, Complaints& complaints)
    : names_(std::move(names)), complaints_(complaints) {}

Input::~Input() {
  close_file();
}

void Input::close_file() noexcept {
  if (descriptor_ > STDIN_FILENO) {
    close(descriptor_);
  }
  descriptor_ = -1;
}

bool Input::next_file() {
  close_file();
  while (next_ < names_.size()) {
    const std::string& name = names_[next_++];
    const bool standard_input = name == "-";
    shown_name_ = standard_input ? "standard input" : name;
    descriptor_ = standard_input ? STDIN_FILENO : open(name.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status = {};
    if (descriptor_ < 0 || fstat(descriptor_, &status) != 0) {
      complaints_.say(fmt::format("{}: {}", shown_name_, std::strerror(errno)));
    } else if (S_ISDIR(status.st_mode)) {
      complaints_.say(fmt::format("{}: {}", shown_name_, std::strerror(EISDIR)));
    } else {
      may_wait_ = !S_ISREG(status.st_mode);
      if (S_ISFIFO(status.st_mode)) {
        constexpr int larger = 1 << 20; // what is allowed without privileges; the default will do too
        fcntl(descriptor_, F_SETPIPE_SZ, larger);
      }
      return true;
    }
    close_file();
  }
  return false;
}

bool Input::has_more_at_once() const noexcept {
  if (!may_wait_) {
    return true;
  }
  pollfd waiting = {descriptor_, POLLIN, 0};
  return poll(&waiting, 1, 0) > 0;
}

std::size_t Input::read(unsigned char* out, std::size_t size) {
  std::size_t got = 0;
  while (got < size && (got == 0 || has_more_at_once())) {
    const ssize_t step = ::read(descriptor_, out + got, size - got);
    if (step > 0) {
      got += static_cast<std::size_t>(step);
    } else if (step == 0) {
      break;
    } else if (errno != EINTR) {
      complaints_.say(fmt::format("{}: {}", shown_name_, std::strerror(errno)));
      break;
    }
  }
  bytes_read_ += got;
  return got;
}

std::uint64_t Input::total_size() const noexcept {
  std::uint64_t total = 0;
  for (const std::string& name : names_) {
    struct stat status = {};
    const int failed = name == "-" ? fstat(STDIN_FILENO, &status) : stat(name.c_str(), &status);
    if (failed != 0 || !S_ISREG(status.st_mode)) {
      return 0;
    }
    total += static_cast<std::uint64_t>(status.st_size);
  }
  return total;
}

} // namespace vel::decode
