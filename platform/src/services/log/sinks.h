// Where log lines go besides memory, and how they are written there.
#pragma once

#include <control/log.h>

#include <filesystem>
#include <memory>
#include <string>

namespace vel::platform {

class LogSink {
public:
  virtual ~LogSink() = default;
  // Throws std::exception when the line cannot be written. [any thread, one at a time]
  virtual void write(const control::LogLine& line) = 0;
};

// One JSON object per line, flushed after each. Throws std::runtime_error when the file cannot be opened.
std::unique_ptr<LogSink> makeFileSink(const std::filesystem::path& path);
// Plain lines on stderr.
std::unique_ptr<LogSink> makeStderrSink();
// Plain lines in the system journal, with its priorities.
std::unique_ptr<LogSink> makeJournalSink();

// A line for a terminal: "error KIP:TavikVELHIDStatistics: message", without the message's last newline and with
// control characters escaped. logLineJson in control/log.h is the form for programs.
std::string plainLine(const control::LogLine& line);

} // namespace vel::platform
