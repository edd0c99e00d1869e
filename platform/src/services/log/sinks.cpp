// The sinks: a file, spdlog's for stderr, and the journal.
#include "services/log/sinks.h"

#include "cf/encoding.h"

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <systemd/sd-journal.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>
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

// Bytes of the UTF-8 sequence at the start of `text`, 0 when there is none.
std::size_t sequenceLength(std::string_view text) {
  for (std::size_t length = 1; length <= 4 && length <= text.size(); ++length) {
    if (utf16Length(text.substr(0, length))) {
      return length;
    }
  }
  return 0;
}

enum class ControlCharacters { kept, escaped };

std::string printable(std::string_view text, ControlCharacters controls) {
  if (controls == ControlCharacters::kept && utf16Length(text)) {
    return std::string(text); // nearly always
  }
  std::string out;
  while (!text.empty()) {
    const auto length = sequenceLength(text);
    const auto byte = static_cast<unsigned char>(text.front());
    const bool isControl = (byte < 0x20 && byte != '\t' && byte != '\n') || byte == 0x7F;
    if (length == 0 || (isControl && controls == ControlCharacters::escaped)) {
      out += fmt::format("\\x{:02X}", byte);
    } else {
      out += text.substr(0, length);
    }
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return out;
}

std::string plainLine(const control::LogLine& line) {
  std::string_view message = line.message;
  if (message.ends_with('\n')) {
    message.remove_suffix(1);
  }
  const auto text =
      fmt::format("{} {}:{}: {}", control::logLevelName(line.type), line.subsystem, line.category, message);
  return printable(text, ControlCharacters::escaped);
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
    sink_.log({line.subsystem, spdlog::level::info, text}); // the form shows no level of spdlog's
    sink_.flush();
  }

private:
  spdlog::sinks::stderr_sink_st sink_;
};

// Not spdlog's: its error names whatever errno holds, not why the journal refused the line.
class JournalSink final : public LogSink {
public:
  void write(const control::LogLine& line) override {
    // In parentheses the function, not the macro, which adds this place in the source.
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

namespace vel::control {

namespace {

using Microseconds = std::chrono::sys_time<std::chrono::microseconds>;

// Lines come many a second: its text is made once.
const std::string& secondText(std::chrono::sys_seconds second) {
  thread_local std::chrono::sys_seconds last;
  thread_local std::string text;
  if (text.empty() || second != last) {
    last = second;
    text = fmt::format("{:%Y-%m-%dT%H:%M:%S}", fmt::gmtime(second.time_since_epoch().count()));
  }
  return text;
}

} // namespace

std::string logLineJson(const LogLine& line) {
  using platform::ControlCharacters;
  using platform::printable;
  const Microseconds time{std::chrono::microseconds(line.time)};
  const auto second = std::chrono::floor<std::chrono::seconds>(time);
  nlohmann::ordered_json fields;
  fields["level"] = logLevelName(line.type);
  fields["subsystem"] = printable(line.subsystem, ControlCharacters::kept);
  fields["category"] = printable(line.category, ControlCharacters::kept);
  fields["message"] = printable(line.message, ControlCharacters::kept);
  const std::string rest = fields.dump();
  return fmt::format(R"({{"time":"{}.{:06}Z",{})", secondText(second), (time - second).count(),
                     std::string_view(rest).substr(1));
}

} // namespace vel::control
