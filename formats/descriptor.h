// Owns a file descriptor.
#pragma once

#include <unistd.h>

namespace vel::formats {

// Closes the descriptor at the end, unless it is the standard input. A number below 0, the result of an open() that
// failed, is kept for the caller to look at.
class Descriptor {
public:
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() {
    if (number_ > STDIN_FILENO) {
      close(number_);
    }
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int number() const { return number_; }

private:
  const int number_;
};

} // namespace vel::formats
