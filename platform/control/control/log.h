// The unified log from the outside: read what was written, choose levels, name sinks.
#pragma once

#include <os/log.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace vel::control {

struct LogLine {
  os_log_type_t type = OS_LOG_TYPE_DEFAULT;
  std::string subsystem;
  std::string category;
  std::string message;   // whole, with a newline at the end if the format has one
  std::int64_t time = 0; // microseconds since the Unix epoch
};

// The lines kept in memory since the last clearLog, oldest first. [any thread]
std::vector<LogLine> logLines();
void clearLog();
// The same lines, which are then no longer kept. [any thread]
std::vector<LogLine> takeLogLines();
// "default", "info", "debug", "error", "fault". [any thread]
const char* logLevelName(os_log_type_t type);
// A line as a JSON object without a newline. Keys: "time" (UTC, ISO 8601), "level", "subsystem", "category", "message".
// A byte that is not part of valid UTF-8 is written as \xNN (in JSON "\\xNN"), a character that a terminal would act on
// as \uNNNN. [any thread]
std::string logLineJson(const LogLine& line);

// Sets whether lines of a level are kept; by default, info and debug are not. Types other than the five never are.
// [any thread]
void setLogLevel(os_log_type_t type, bool enabled);
// Sets whether lines are kept in memory (the default). [any thread]
void keepLogInMemory(bool keep);

// Additional sinks, at most one of each kind. A sink that fails to write is given up; unless it is the file, a line on
// stderr says so. [any thread]

// A file of JSON lines, overwritten from its start and flushed after every line; an empty path closes it. A file that
// cannot be opened throws std::runtime_error with path and cause.
void setLogFile(const std::filesystem::path& path);
// Why the file was given up, with its path; none if it was not given up since the last setLogFile.
std::optional<std::string> logFileFailure();
// Lines such as "error KIP:TavikVELHIDStatistics: message", without the message's last newline. Characters that a
// terminal would act on or not show, except tabs and newlines, are written as \xNN or \u{NNNN}, bytes that are not
// UTF-8 as \xNN.
void setLogToStderr(bool on);
// The system journal, in the same form as on stderr. Does nothing on a machine without a journal.
void setLogToJournal(bool on);

// How often os_release was called on log objects. [any thread]
std::size_t logObjectReleases();

} // namespace vel::control
