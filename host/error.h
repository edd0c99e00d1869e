// What a host reports to people: one line that names the place and the cause.
#pragma once

#include <stdexcept>

namespace vel::host {

class Error : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

} // namespace vel::host
