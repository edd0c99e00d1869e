#include <capture_result.h>
#include <escape.h>
#include <tree.h>

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <utility>

namespace vel::stat {

namespace {

std::string count(std::size_t number, std::string_view what) {
  return fmt::format("{} {}{}", number, what, number == 1 ? "" : "s");
}

std::string usagesText(const CapturedService& service) {
  std::string text;
  for (const host::UsageModel& usage : service.usages) {
    text += fmt::format("{}{:#04x}/{:#04x}", text.empty() ? "" : " ", usage.page, usage.usage);
  }
  return text.empty() ? "no usages" : text;
}

// As far as the outside can tell what the plug-in made of a service.
std::string outcome(const CapturedService& service) {
  const host::Registration& registration = service.registration;
  std::string text;
  if (registration.handlers == 1) {
    text = fmt::format("taken: state handler {}", registration.firstHandler);
  } else if (registration.handlers > 1) {
    text = fmt::format("taken: state handlers {} to {}", registration.firstHandler,
                       registration.firstHandler + registration.handlers - 1);
  } else {
    text = service.opened ? "opened, no state handlers" : "not taken";
  }
  if (service.logLines > 0) {
    text += fmt::format(" ({})", count(service.logLines, "log line"));
  }
  return text;
}

void appendServices(std::string& out, const CaptureResult& result, const Style& style) {
  out += style.bold("Services") + '\n';
  std::size_t nameWidth = 0;
  std::size_t usagesWidth = 0;
  for (const CapturedService& service : result.services) {
    nameWidth = std::max(nameWidth, escape(service.name).size());
    usagesWidth = std::max(usagesWidth, usagesText(service).size());
  }
  for (const CapturedService& service : result.services) {
    out += fmt::format("  {:{}}  {:{}}  {}\n", escape(service.name), nameWidth, usagesText(service), usagesWidth,
                       outcome(service));
  }
  if (result.services.empty()) {
    out += "  none\n";
  }
}

void appendRecords(std::string& out, const CaptureResult& result, const Style& style) {
  out += style.bold("Records") +
         fmt::format(": {} from {}\n", result.records.size(), count(result.handlers, "state handler"));
  for (const host::CapturedRecord& captured : result.records) {
    out += '\n' + std::string("  ") + style.bold(escape(captured.record.title)) +
           style.dim(fmt::format("  state handler {}, {}", captured.handler, count(captured.record.dataSize, "byte"))) +
           '\n';
    appendTree(out, captured.record.value, 4, style);
  }
}

// A line without the newline at its end.
std::string_view trimmed(std::string_view message) {
  if (message.ends_with('\n')) {
    message.remove_suffix(1);
  }
  return message;
}

// Lines that differ in nothing, at the place of the first.
struct RepeatedLine {
  const control::LogLine* line;
  std::size_t times;
};

std::vector<RepeatedLine> fold(const std::vector<control::LogLine>& log) {
  std::vector<RepeatedLine> folded;
  std::map<std::pair<os_log_type_t, std::string_view>, std::size_t> places;
  for (const control::LogLine& line : log) {
    const auto [place, isNew] = places.try_emplace({line.type, line.message}, folded.size());
    if (isNew) {
      folded.push_back({&line, 0});
    }
    ++folded[place->second].times;
  }
  return folded;
}

void appendLog(std::string& out, const CaptureResult& result, const Style& style) {
  out += style.bold("Log") + fmt::format(": {}\n", count(result.log.size(), "line"));
  for (const auto& [line, times] : fold(result.log)) {
    const std::string level = fmt::format("{:7}", control::logLevelName(line->type));
    const bool severe = line->type == OS_LOG_TYPE_ERROR || line->type == OS_LOG_TYPE_FAULT;
    out += fmt::format("  {}  {}", severe ? style.red(level) : level, escape(trimmed(line->message)));
    out += times == 1 ? "\n" : style.dim(fmt::format("  ({} times)", times)) + '\n';
  }
}

} // namespace

std::string captureText(const CaptureResult& result, const Style& style) {
  std::string out =
      fmt::format("{}, {}, api {}\n\n", style.bold(result.device.empty() ? "unnamed device" : escape(result.device)),
                  escape(result.plugIn.empty() ? result.path : result.plugIn), result.api);
  appendServices(out, result, style);
  out += '\n';
  appendRecords(out, result, style);
  out += '\n';
  appendLog(out, result, style);
  return out;
}

} // namespace vel::stat
