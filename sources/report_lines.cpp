#include "sources/report_lines.h"

#include <profile/read_line.h>
#include <sources/clock.h>

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <iterator>

namespace vel::sources {

namespace {

// The value of one of the two keys in a title such as "KIP Profile 5 ;count=32 ;type=kext".
std::string_view titleValue(std::string_view title, std::string_view key) {
  const std::size_t at = title.starts_with("KIP Profile ") ? title.find(key) : std::string_view::npos;
  if (at == std::string_view::npos) {
    return {};
  }
  const std::string_view value = title.substr(at + key.size());
  return value.substr(0, value.find(' '));
}

// Reads the lines of one report.
class LinesOfReport {
public:
  LinesOfReport(ReportLines& into, ClockReader& clocks, Location location, std::string name)
      : into_(into), clocks_(clocks), location_(location), name_(std::move(name)) {}

  void add(std::string_view text, std::size_t number, CapturedRecord prototype, std::vector<int>& relations) {
    location_.at = number;
    prototype.details.location = location_;
    std::size_t from = 0;
    profile::FoundLine line;
    for (; reader_.next(text, from, line); from = line.end) {
      addUnread(text.substr(from, line.begin - from));
      prototype.bytes = line.record;
      into_.records.push_back(prototype);
      relations.push_back(clocks_.add(timeStamp(line.record.data()), line.calendar, line.boot));
      if (!line.sound) {
        find(FindingKind::contradiction, 1,
             fmt::format("line {}: its words contradict its bytes at character {}; the bytes are taken", number + 1,
                         line.fault - line.begin + 1));
      }
    }
    addUnread(text.substr(from));
  }

  void end(std::uint64_t lines, std::uint64_t counted) {
    location_.at = 0;
    if (truncated_ != 0) {
      find(FindingKind::truncated, truncated_,
           fmt::format("{} cut before {} bytes: no record{}",
                       truncated_ == 1 ? "1 line was" : fmt::format("{} lines were", truncated_),
                       truncated_ == 1 ? "its" : "their", truncated_ == 1 ? "" : "s"));
    }
    if (counted > lines) {
      find(
          FindingKind::missingLines, counted - lines,
          fmt::format("the title counts {} records and the list has {} line{}", counted, lines, lines == 1 ? "" : "s"));
    }
  }

private:
  void addUnread(std::string_view text) {
    const profile::UnreadLines unread = profile::count_unread_lines(text);
    truncated_ += unread.truncated;
    if (unread.damaged != 0) {
      find(FindingKind::damaged, unread.damaged,
           fmt::format("line {}: its binary-data is not 48 bytes: no record", location_.at + 1));
    }
  }

  void find(FindingKind kind, std::uint64_t count, const std::string& text) {
    into_.findings.push_back({kind, location_, count, fmt::format("{}: {}", name_, text)});
  }

  ReportLines& into_;
  ClockReader& clocks_;
  Location location_;
  std::string name_;
  profile::LineReader reader_;
  std::uint64_t truncated_ = 0;
};

} // namespace

std::uint32_t ReportLines::logOf(std::string_view title) {
  const std::string_view log = titleValue(title, ";type=");
  const auto known = std::find(logs.begin(), logs.end(), log);
  if (known == logs.end()) {
    logs.emplace_back(log);
    return static_cast<std::uint32_t>(logs.size()) - 1;
  }
  return static_cast<std::uint32_t>(known - logs.begin());
}

void ReportLines::add(std::uint32_t input, const std::string& name, Capture& capture) {
  ClockReader clocks;
  std::vector<int> relations; // of each record, in clocks
  const std::size_t first = records.size();
  for (std::size_t i = 0; i < capture.reports.size(); ++i) {
    const Report& report = capture.reports[i];
    const auto* lines = report.value.as<formats::Array>();
    if (lines == nullptr) {
      continue;
    }
    const Location location{.input = input, .report = static_cast<std::uint32_t>(i), .at = 0};
    CapturedRecord prototype = {};
    prototype.log = logOf(report.title);
    prototype.batch = batches_++;
    LinesOfReport reader(*this, clocks, location, report.file.empty() ? name : report.file);
    for (std::size_t number = 0; number < lines->size(); ++number) {
      if (const auto* text = (*lines)[number].as<std::string>()) {
        reader.add(*text, number, prototype, relations);
      }
    }
    std::uint64_t counted = 0;
    const std::string_view count = titleValue(report.title, ";count=");
    std::from_chars(count.data(), count.data() + count.size(), counted);
    reader.end(lines->size(), counted);
  }
  for (std::size_t i = 0; i < relations.size(); ++i) {
    if (relations[i] >= 0) {
      CapturedRecord& record = records[first + i];
      const auto offset = static_cast<std::uint64_t>(clocks.relations()[static_cast<std::size_t>(relations[i])].offset);
      record.details.calendar = timeStamp(record.bytes.data()) + offset;
    }
  }
  capture.clocks = clocks.relations();
  std::stable_sort(capture.clocks.begin(), capture.clocks.end(),
                   [](const ClockRelation& a, const ClockRelation& b) { return a.lines > b.lines; });
  if (capture.clocks.size() > 1) {
    std::uint64_t disagreeing = 0;
    for (std::size_t i = 1; i < capture.clocks.size(); ++i) {
      disagreeing += capture.clocks[i].lines;
    }
    findings.push_back(
        {FindingKind::clock,
         {.input = input},
         disagreeing,
         fmt::format("{}: {} of {} lines relate the clocks otherwise than the others: {} us apart", name, disagreeing,
                     disagreeing + capture.clocks[0].lines, capture.clocks[1].offset - capture.clocks[0].offset)});
  }
}

bool isReport(const formats::Value& value) {
  if (const auto* lines = value.as<formats::Array>()) {
    return std::any_of(lines->begin(), lines->end(), [](const formats::Value& line) {
      const auto* text = line.as<std::string>();
      return text != nullptr && text->find(profile::line_beginning) != std::string::npos;
    });
  }
  // Buttons' statistics, haptic assets, sensors.
  const auto* members = value.as<formats::Dictionary>();
  const bool assets = members != nullptr && !members->empty() &&
                      std::all_of(members->begin(), members->end(), [](const formats::Member& member) {
                        const auto* text = member.value.as<std::string>();
                        return text != nullptr && text->starts_with("enable=");
                      });
  return assets || value.find("last button press") != nullptr ||
         (value.find("sensorType") != nullptr && value.find("reportInterval") != nullptr);
}

} // namespace vel::sources
