// The unified log from the outside: read what was written, choose levels, name sinks.
#pragma once

#include <os/log.h>

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace vel::control {

struct LogLine {
  os_log_type_t type = OS_LOG_TYPE_DEFAULT;
  std::string subsystem;
  std::string category;
  std::string message; // whole, with a newline at the end if the format has one
};

// The lines kept in memory since the last clearLog, oldest first. [any thread]
std::vector<LogLine> logLines();
void clearLog();
// "default", "info", "debug", "error", "fault".
const char* logLevelName(os_log_type_t type);

// Whether lines of a level are kept; info and debug are not unless asked for.
void setLogLevel(os_log_type_t type, bool enabled);
// Whether lines are kept in memory (the default).
void keepLogInMemory(bool keep);
// Additional sinks. Each replaces the earlier ones of this kind; an empty path ends the file sink. A file that cannot
// be opened throws std::runtime_error.
void setLogFile(const std::filesystem::path& path);
void setLogToStderr(bool on);
// The system journal; it stays unused where there is none.
void setLogToJournal(bool on);

// How often os_release was called on log objects.
std::size_t logObjectReleases();

} // namespace vel::control
