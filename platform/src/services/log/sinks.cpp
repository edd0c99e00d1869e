// The sinks: a file, spdlog's for stderr, and the journal.
#include "services/log/sinks.h"

#include <fmt/format.h>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <systemd/sd-journal.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>
#include <sys/syslog.h>
#include <utility>

namespace vel::platform {
namespace {

int journalPriority(os_log_type_t type) {
  switch (type) {
  case OS_LOG_TYPE_DEBUG:
    return LOG_DEBUG;
  case OS_LOG_TYPE_ERROR:
    return LOG_ERR;
  case OS_LOG_TYPE_FAULT:
    return LOG_CRIT;
  default:
    return LOG_INFO;
  }
}

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

class FileSink final : public LogSink {
public:
  explicit FileSink(std::filesystem::path path) : path_(std::move(path)), file_(std::fopen(path_.c_str(), "we")) {
    if (file_ == nullptr) {
      fail();
    }
  }

  void write(const control::LogLine& line) override {
    const std::string text = control::logLineJson(line) + '\n';
    if (std::fwrite(text.data(), 1, text.size(), file_.get()) != text.size() || std::fflush(file_.get()) != 0) {
      fail();
    }
  }

private:
  [[noreturn]] void fail() const {
    throw std::runtime_error(fmt::format("{}: {}", path_.string(), std::strerror(errno)));
  }

  std::filesystem::path path_;
  std::unique_ptr<std::FILE, CloseFile> file_;
};

class StderrSink final : public LogSink {
public:
  StderrSink() { sink_.set_formatter(std::make_unique<spdlog::pattern_formatter>("%v")); }

  void write(const control::LogLine& line) override {
    const auto text = plainLine(line);
    sink_.log({line.subsystem, spdlog::level::info, text}); // the pattern shows neither the name nor the level
    sink_.flush();
  }

private:
  spdlog::sinks::stderr_sink_st sink_;
};

// Not spdlog's: its error shows the value of errno, not why the journal refused the line.
class JournalSink final : public LogSink {
public:
  void write(const control::LogLine& line) override {
    // The parentheses call the function, not the macro, which would add this source location.
    const int result = (sd_journal_send)("MESSAGE=%s", plainLine(line).c_str(), "PRIORITY=%d",
                                         journalPriority(line.type), "SYSLOG_IDENTIFIER=velplatform", nullptr);
    if (result < 0) {
      throw std::runtime_error(fmt::format("journal: {}", std::strerror(-result)));
    }
  }
};

} // namespace

std::unique_ptr<LogSink> makeFileSink(const std::filesystem::path& path) {
  return std::make_unique<FileSink>(path);
}

std::unique_ptr<LogSink> makeStderrSink() {
  return std::make_unique<StderrSink>();
}

std::unique_ptr<LogSink> makeJournalSink() {
  return std::make_unique<JournalSink>();
}

} // namespace vel::platform
