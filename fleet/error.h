// The errors of the fleet room; each message is one line for the user.
#pragma once

#include <formats/error.h>

namespace vel::fleet {

class Error : public formats::Error {
public:
  using formats::Error::Error;
};

// The server cannot be reached, or the connection was cut or took too long. Whether the server has carried out the
// request is unknown.
class ConnectionError : public Error {
public:
  using Error::Error;
};

// The server has refused a request. `code` is the server's number for the cause, or 0 if it gave none.
class ServerError : public Error {
public:
  ServerError(const std::string& line, int number) : Error(line), code(number) {}

  int code;
};

} // namespace vel::fleet
