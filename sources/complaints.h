// Collects errors in the input, one line each. They do not stop the work.
#pragma once

#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace vel::sources {

class Complaints {
public:
  using Print = std::function<void(std::string_view line)>;

  explicit Complaints(Print print) : print_(std::move(print)) {}

  // Keeps the line until flush(), because the reading thread may not be the one that prints. [any thread]
  void say(std::string line) {
    const std::lock_guard lock(mutex_);
    any_ = true;
    waiting_.push_back({std::move(line)});
  }
  // The same for a remark that is not an error. [any thread]
  void remark(std::string line) {
    const std::lock_guard lock(mutex_);
    waiting_.push_back({std::move(line)});
  }

  // Prints the waiting lines. [one thread at a time]
  void flush() {
    std::vector<std::string> lines;
    {
      const std::lock_guard lock(mutex_);
      lines.swap(waiting_);
    }
    for (const std::string& line : lines) {
      print_(line);
    }
  }

  bool any() const noexcept {
    const std::lock_guard lock(mutex_);
    return any_;
  }

private:
  Print print_;
  mutable std::mutex mutex_;
  std::vector<std::string> waiting_;
  bool any_ = false;
};

} // namespace vel::sources
