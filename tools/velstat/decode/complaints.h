// What went wrong with the input: one line each on stderr, in any number, without stopping the work.
#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

namespace vel::stat {

class Complaints {
public:
  using Print = std::function<void(std::string_view line)>;

  explicit Complaints(Print print) : print_(std::move(print)) {}

  void say(std::string_view line) {
    any_ = true;
    print_(line);
  }
  bool any() const noexcept { return any_; }

private:
  Print print_;
  bool any_ = false;
};

} // namespace vel::stat
