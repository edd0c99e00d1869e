// The unified log: log objects, levels, the lines in memory, and how a line reaches the sinks.
#include "announce.h"
#include "cf/object.h"
#include "services/immortal.h"
#include "services/log/format.h"
#include "services/log/sinks.h"
#include <control/log.h>

#include <os/log.h>
#include <os/object.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <exception>
#include <list>
#include <mutex>
#include <optional>
#include <utility>

struct os_log_s {
  std::string subsystem;
  std::string category;
};

namespace vel::platform {
namespace {

struct Level {
  os_log_type_t type;
  const char* name;
};
constexpr std::array levels = {
    Level{OS_LOG_TYPE_DEFAULT, "default"}, Level{OS_LOG_TYPE_INFO, "info"},   Level{OS_LOG_TYPE_DEBUG, "debug"},
    Level{OS_LOG_TYPE_ERROR, "error"},     Level{OS_LOG_TYPE_FAULT, "fault"},
};

// The bit of a level; 0 for other types.
constexpr std::uint32_t bit(os_log_type_t type) {
  const bool isLevel =
      std::any_of(levels.begin(), levels.end(), [=](const Level& level) { return level.type == type; });
  return isLevel ? 1U << type : 0;
}

enum SinkKind { fileSink, stderrSink, journalSink };

struct Log {
  std::atomic<std::uint32_t> enabled = bit(OS_LOG_TYPE_DEFAULT) | bit(OS_LOG_TYPE_ERROR) | bit(OS_LOG_TYPE_FAULT);

  std::mutex mutex; // guards everything below
  std::list<os_log_s> objects;
  std::size_t releases = 0;
  bool keep = true;
  std::vector<control::LogLine> lines;
  std::array<std::unique_ptr<LogSink>, 3> sinks;
  std::optional<std::string> fileFailure;
};

Log& log() {
  return immortal<Log>();
}

void setSink(SinkKind kind, std::unique_ptr<LogSink> sink) {
  const std::lock_guard lock(log().mutex);
  log().sinks[kind] = std::move(sink);
  if (kind == fileSink) {
    log().fileFailure.reset();
  }
}

void giveUp(SinkKind kind, const char* cause) {
  log().sinks[kind].reset();
  if (kind == fileSink) {
    log().fileFailure = cause;
  } else {
    std::fprintf(stderr, "log: a sink is given up: %s\n", cause);
  }
}

void write(control::LogLine line) {
  using namespace std::chrono;
  const std::lock_guard lock(log().mutex);
  line.time = duration_cast<microseconds>(system_clock::now().time_since_epoch()).count();
  for (const SinkKind kind : {fileSink, stderrSink, journalSink}) {
    try {
      if (log().sinks[kind]) {
        log().sinks[kind]->write(line);
      }
    } catch (const std::exception& error) {
      giveUp(kind, error.what());
    }
  }
  if (log().keep) {
    log().lines.push_back(std::move(line));
  }
}

} // namespace
} // namespace vel::platform

using vel::platform::announce;
using vel::platform::log;
using vel::platform::note;

os_log_t os_log_create(const char* subsystem, const char* category) {
  if (announce("os_log_create", subsystem, category) || subsystem == nullptr || category == nullptr) {
    return nullptr;
  }
  const std::lock_guard lock(log().mutex);
  auto& objects = log().objects;
  const auto found = std::find_if(objects.begin(), objects.end(), [=](const os_log_s& object) {
    return object.subsystem == subsystem && object.category == category;
  });
  return found == objects.end() ? &objects.emplace_back(os_log_s{subsystem, category}) : &*found;
}

bool os_log_type_enabled(os_log_t object, os_log_type_t type) {
  return object != nullptr && (log().enabled.load(std::memory_order_relaxed) & vel::platform::bit(type)) != 0;
}

void os_log_with_type(os_log_t object, os_log_type_t type, const char* format, ...) {
  if (!os_log_type_enabled(object, type)) {
    return;
  }
  std::va_list arguments;
  va_start(arguments, format);
  auto message = vel::platform::formatLog(format, arguments);
  va_end(arguments);
  vel::platform::noteDetail("os_log", vel::control::logLevelName(type), message.c_str());
  vel::platform::write(
      {.type = type, .subsystem = object->subsystem, .category = object->category, .message = std::move(message)});
}

void os_release(void* object) {
  note("os_release");
  if (object == nullptr) {
    return; // a plug-in that was never opened has no log object
  }
  const std::lock_guard lock(log().mutex);
  const auto& objects = log().objects;
  if (std::none_of(objects.begin(), objects.end(), [=](const os_log_s& known) { return &known == object; })) {
    vel::platform::misuse("os_release", "%p is not a log object", object);
  }
  ++log().releases;
}

namespace vel::control {

std::vector<LogLine> logLines() {
  const std::lock_guard lock(log().mutex);
  return log().lines;
}

std::vector<LogLine> takeLogLines() {
  const std::lock_guard lock(log().mutex);
  return std::exchange(log().lines, {});
}

void clearLog() {
  takeLogLines();
}

const char* logLevelName(os_log_type_t type) {
  const auto& levels = platform::levels;
  const auto* const found =
      std::find_if(levels.begin(), levels.end(), [=](const platform::Level& level) { return level.type == type; });
  return found == levels.end() ? "unknown" : found->name;
}

void setLogLevel(os_log_type_t type, bool enabled) {
  if (enabled) {
    log().enabled.fetch_or(platform::bit(type), std::memory_order_relaxed);
  } else {
    log().enabled.fetch_and(~platform::bit(type), std::memory_order_relaxed);
  }
}

void keepLogInMemory(bool keep) {
  const std::lock_guard lock(log().mutex);
  log().keep = keep;
}

void setLogFile(const std::filesystem::path& path) {
  platform::setSink(platform::fileSink, nullptr); // closed first: the new file may be the old one
  if (!path.empty()) {
    platform::setSink(platform::fileSink, platform::makeFileSink(path));
  }
}

std::optional<std::string> logFileFailure() {
  const std::lock_guard lock(log().mutex);
  return log().fileFailure;
}

void setLogToStderr(bool on) {
  platform::setSink(platform::stderrSink, on ? platform::makeStderrSink() : nullptr);
}

void setLogToJournal(bool on) {
  platform::setSink(platform::journalSink, on ? platform::makeJournalSink() : nullptr);
}

std::size_t logObjectReleases() {
  const std::lock_guard lock(log().mutex);
  return log().releases;
}

} // namespace vel::control
