// A capture as text: services, records, metrics and log.
#include <control/log.h>
#include <velstat/capture/record_groups.h>
#include <velstat/capture/result.h>
#include <velstat/tally/output.h>
#include <velstat/text/escape.h>
#include <velstat/text/number_text.h>
#include <velstat/text/wrap.h>
#include <velstat/triage/output.h>

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <set>
#include <span>
#include <string_view>

namespace vel::stat {

namespace {

constexpr std::size_t shownLogLines = 6; // different lines for each level
constexpr std::size_t shownFindings = 5;

std::string usagesText(const CapturedService& service) {
  std::string text;
  for (const host::UsageModel& usage : service.usages) {
    text += fmt::format("{}{:#04x}/{:#04x}", text.empty() ? "" : " ", usage.page, usage.usage);
  }
  return text.empty() ? "no usages" : text;
}

// What the plug-in did with a service, as far as its host can see.
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
    text += fmt::format(" ({})", countText(service.logLines, "log line"));
  }
  return text;
}

void appendServices(Sink& out, const CaptureResult& result, const Style& style) {
  out += style.bold("Services") + '\n';
  std::size_t nameWidth = 0;
  std::size_t usagesWidth = 0;
  for (const CapturedService& service : result.services) {
    nameWidth = std::max(nameWidth, columns(escape(service.name)));
    usagesWidth = std::max(usagesWidth, usagesText(service).size());
  }
  for (const CapturedService& service : result.services) {
    const std::string name = escape(service.name);
    out += fmt::format("  {}{}  {:{}}  {}\n", name, std::string(nameWidth - columns(name), ' '), usagesText(service),
                       usagesWidth, outcome(service));
  }
  if (result.services.empty()) {
    out += "  none\n";
  }
}

// A line without the newline at its end.
std::string_view trimmed(std::string_view message) {
  if (message.ends_with('\n')) {
    message.remove_suffix(1);
  }
  return message;
}

void appendFindings(Sink& out, const CaptureResult& result, Detail detail, const Style& style) {
  const std::span<const rules::Finding> all = result.findings;
  out += style.bold("Findings") + fmt::format(": {}\n", all.empty() ? "none" : countsText(all));
  if (all.empty()) {
    return;
  }
  const std::size_t shown = detail == Detail::folded ? std::min(shownFindings, all.size()) : all.size();
  writeFindingsBriefly(out, all.first(shown), textWidth(), style);
  if (shown < all.size()) {
    out += "  " + style.dim(fmt::format("… {} more (--all)", all.size() - shown)) + '\n';
  }
  const std::string how = result.folder.empty() ? "velstat capture --out DIR, then velstat triage DIR"
                                                : fmt::format("velstat triage {}", escape(result.folder));
  out += "  " + style.dim(fmt::format("{}: why, what next, and where", how)) + '\n';
}

// One line for all published values, because even a healthy device logs many.
void appendRoutine(Sink& out, const std::vector<CapturedLog::Repeated>& folded, const Style& style) {
  std::size_t lines = 0;
  std::set<std::string_view> metrics;
  for (const auto& [type, message, times] : folded) {
    if (isRoutine(*message)) {
      const std::string_view text = *message;
      const std::size_t quote = std::min(text.find('\''), text.size());
      metrics.insert(text.substr(quote, text.find('\'', quote + 1) - quote));
      lines += times;
    }
  }
  if (lines > 0) {
    out +=
        fmt::format("  routine  {} published for {}", countText(lines, "value"), countText(metrics.size(), "metric"));
    out += style.dim(" (--all)") + '\n';
  }
}

// The worst first.
constexpr std::array levels = {OS_LOG_TYPE_FAULT, OS_LOG_TYPE_ERROR, OS_LOG_TYPE_DEFAULT, OS_LOG_TYPE_INFO,
                               OS_LOG_TYPE_DEBUG};

void appendLog(Sink& out, const CaptureResult& result, Detail detail, const Style& style) {
  out += style.bold("Log") + fmt::format(": {}\n", countText(result.log.size(), "line"));
  const std::vector<CapturedLog::Repeated> folded = result.log.repeated();
  for (const os_log_type_t level : levels) {
    std::size_t shown = 0;
    std::size_t hidden = 0;
    for (const auto& [type, message, times] : folded) {
      const bool routine = isRoutine(*message);
      if (type != level || (routine && detail == Detail::folded)) {
        continue;
      }
      if (detail == Detail::folded && shown == shownLogLines) {
        hidden += times;
        continue;
      }
      ++shown;
      const std::string name = fmt::format("{:7}", control::logLevelName(level));
      const bool severe = !routine && (level == OS_LOG_TYPE_ERROR || level == OS_LOG_TYPE_FAULT);
      out += fmt::format("  {}  {}", severe ? style.red()(name) : name, escape(trimmed(*message)));
      out += times == 1 ? std::string("\n") : style.dim(fmt::format(" × {}", times)) + '\n';
    }
    if (hidden > 0) {
      out += "           " + style.dim(fmt::format("… {} more (--all)", hidden)) + '\n';
    }
  }
  if (detail == Detail::folded) {
    appendRoutine(out, folded, style);
  }
}

void appendMetrics(Sink& out, const CaptureResult& result, const Style& style) {
  out += style.bold("Metrics") + fmt::format(": {}\n", countText(result.metrics.size(), "key"));
  if (!result.metrics.empty()) {
    tallyTable(out, result.metrics, style, 2, TallyTimes::hidden);
  }
}

} // namespace

void captureText(Sink& plain, const CaptureResult& result, Detail detail, const Style& style) {
  WrappedLines out(plain, style.width());
  out += fmt::format("{}, {}, api {}\n\n", style.bold(result.device.empty() ? "unnamed device" : escape(result.device)),
                     escape(result.plugIn.empty() ? result.path : result.plugIn), result.api);
  appendFindings(out, result, detail, style);
  out += '\n';
  appendServices(out, result, style);
  out += '\n' + style.bold("Records") +
         fmt::format(": {} from {}\n", result.records.size(), countText(result.handlers, "state handler"));
  (detail == Detail::folded ? appendRecordGroups : appendRecords)(out, result.records, style);
  out += '\n';
  appendLog(out, result, detail, style);
  out += '\n';
  appendMetrics(out, result, style);
}

} // namespace vel::stat
