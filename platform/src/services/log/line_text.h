// The text of a line of the log for people; logLineJson in control/log.h is the one for programs.
#pragma once

#include <control/log.h>

#include <string>

namespace vel::platform {

// "error KIP:TavikVELHIDStatistics: message", without the message's last newline and fit for a terminal.
std::string plainLine(const control::LogLine& line);

} // namespace vel::platform
