// Where log lines go besides memory.
#pragma once

#include <control/log.h>

#include <filesystem>
#include <memory>

namespace vel::platform {

class LogSink {
public:
  virtual ~LogSink() = default;
  // Throws std::exception when the line cannot be written. [any thread, one at a time]
  virtual void write(const control::LogLine& line) = 0;
};

// Throws std::runtime_error when the file cannot be opened.
std::unique_ptr<LogSink> makeFileSink(const std::filesystem::path& path);
std::unique_ptr<LogSink> makeStderrSink();
std::unique_ptr<LogSink> makeJournalSink();

} // namespace vel::platform
