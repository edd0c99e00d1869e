// A failure to load a bundle, to put a device model in force, or to run a session.
#pragma once

#include <formats/error.h>

namespace vel::host {

class Error : public formats::Error {
public:
  using formats::Error::Error;
};

} // namespace vel::host
