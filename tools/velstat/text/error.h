// A failure of a subcommand.
#pragma once

#include <formats/error.h>

namespace vel::stat {

class Error : public formats::Error {
public:
  using formats::Error::Error;
};

} // namespace vel::stat
