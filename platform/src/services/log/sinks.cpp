// The sinks, on spdlog's: what is ours is the form of a line.
#include "services/log/sinks.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <spdlog/pattern_formatter.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/sinks/systemd_sink.h>

#include <stdexcept>
#include <string>
#include <string_view>

#include "cf/encoding.h"

namespace vel::platform {
namespace {

spdlog::level::level_enum spdlogLevel(os_log_type_t type) {
  switch (type) {
  case OS_LOG_TYPE_DEBUG:
    return spdlog::level::debug;
  case OS_LOG_TYPE_ERROR:
    return spdlog::level::err;
  case OS_LOG_TYPE_FAULT:
    return spdlog::level::critical;
  default:
    return spdlog::level::info;
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

std::string jsonFields(const control::LogLine& line) {
  nlohmann::ordered_json fields;
  fields["level"] = control::logLevelName(line.type);
  fields["subsystem"] = printable(line.subsystem, ControlCharacters::kept);
  fields["category"] = printable(line.category, ControlCharacters::kept);
  fields["message"] = printable(line.message, ControlCharacters::kept);
  return fields.dump().substr(1); // without its "{": the pattern begins the object with the time
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

class SpdlogSink final : public LogSink {
public:
  using Form = std::string (*)(const control::LogLine& line);

  SpdlogSink(std::unique_ptr<spdlog::sinks::sink> sink, Form form, std::string pattern)
      : sink_(std::move(sink)), form_(form) {
    sink_->set_formatter(
        std::make_unique<spdlog::pattern_formatter>(std::move(pattern), spdlog::pattern_time_type::utc));
  }

  void write(const control::LogLine& line) override {
    const auto text = form_(line);
    sink_->log({line.subsystem, spdlogLevel(line.type), text});
    sink_->flush();
  }

private:
  std::unique_ptr<spdlog::sinks::sink> sink_;
  Form form_;
};

} // namespace

std::unique_ptr<LogSink> makeFileSink(const std::filesystem::path& path) {
  try {
    return std::make_unique<SpdlogSink>(std::make_unique<spdlog::sinks::basic_file_sink_st>(path.string(), true),
                                        jsonFields, R"({"time":"%Y-%m-%dT%H:%M:%S.%fZ",%v)");
  } catch (const spdlog::spdlog_ex& error) {
    throw std::runtime_error(error.what());
  }
}

std::unique_ptr<LogSink> makeStderrSink() {
  return std::make_unique<SpdlogSink>(std::make_unique<spdlog::sinks::stderr_sink_st>(), plainLine, "%v");
}

std::unique_ptr<LogSink> makeJournalSink() {
  return std::make_unique<SpdlogSink>(std::make_unique<spdlog::sinks::systemd_sink_st>("velplatform"), plainLine, "%v");
}

} // namespace vel::platform
