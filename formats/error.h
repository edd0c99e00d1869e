// An error to show to the user: one line that names the file, the place and the cause.
#pragma once

#include <stdexcept>

namespace vel::formats {

// Other rooms derive their own errors from it, so that one handler reports them all.
class Error : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

} // namespace vel::formats
