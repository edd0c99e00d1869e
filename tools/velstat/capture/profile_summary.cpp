// Finds keys in the text of a line, and counts lines by name.
#include "velstat/capture/profile_summary.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <map>
#include <utility>

namespace vel::stat {

namespace {

// The value after a key: text without its apostrophes, or digits. With `last`, the key's last occurrence counts,
// because a payload before it may contain the same characters.
std::string_view valueOf(std::string_view line, std::string_view key, bool last = false) {
  const std::string quoted = fmt::format(" '{}':", key);
  const std::size_t at = last ? line.rfind(quoted) : line.find(quoted);
  if (at == std::string_view::npos) {
    return {};
  }
  std::string_view value = line.substr(at + quoted.size());
  value.remove_prefix(std::min(value.find_first_not_of(' '), value.size()));
  if (value.starts_with('\'')) {
    value.remove_prefix(1);
    return value.substr(0, value.find('\''));
  }
  return value.substr(0, value.find_first_of(",}"));
}

using Counts = std::vector<std::pair<std::string, std::size_t>>;

// The largest counts first, equal ones by name.
template <class Name>
Counts count(const std::vector<std::string_view>& lines, Name name) {
  std::map<std::string, std::size_t> counts;
  for (const std::string_view line : lines) {
    ++counts[name(readProfileLine(line))];
  }
  Counts sorted(counts.begin(), counts.end());
  std::stable_sort(sorted.begin(), sorted.end(), [](const auto& a, const auto& b) { return a.second > b.second; });
  return sorted;
}

} // namespace

ProfileLine readProfileLine(std::string_view line) {
  return {.category = valueOf(line, "category"),
          .component = valueOf(line, "component"),
          .event = valueOf(line, "event"),
          .trace = valueOf(line, "trace"),
          .timestamp = valueOf(line, "timestamp"),
          .calendarTime = valueOf(line, "calendar-time", true)};
}

std::string ProfileLine::kind() const {
  return fmt::format("{} {} {}", category, component, event == "trace" && !trace.empty() ? trace : event);
}

std::string ProfileLine::brief() const {
  return fmt::format("{}  {}", calendarTime.empty() ? timestamp : calendarTime, kind());
}

std::string categoriesText(const std::vector<std::string_view>& lines) {
  std::vector<std::string> parts;
  for (const auto& [name, times] : count(lines, [](const ProfileLine& line) { return std::string(line.category); })) {
    parts.push_back(fmt::format("{} {}", name, times));
  }
  return fmt::format("{}", fmt::join(parts, ", "));
}

std::string kindsText(const std::vector<std::string_view>& lines, std::size_t most) {
  const Counts counts = count(lines, [](const ProfileLine& line) { return line.kind(); });
  std::vector<std::string> parts;
  for (const auto& [name, times] : counts) {
    if (parts.size() == most) {
      return fmt::format("{}, … {} kinds in all", fmt::join(parts, ", "), counts.size());
    }
    parts.push_back(fmt::format("{} × {}", name, times));
  }
  return fmt::format("{}", fmt::join(parts, ", "));
}

} // namespace vel::stat
