#include "sources/line_formats.h"

#include <profile/read_line.h>
#include <sources/record.h>
#include <sources/renderer.h>

#include <algorithm>
#include <array>
#include <charconv>

namespace vel::sources {

namespace {

constexpr std::size_t npos = std::string_view::npos;

// Takes a line's record once its bytes are known, and compares or collects clock relations.
class RecordTaker {
public:
  explicit RecordTaker(const std::optional<ClockRelation>& clock) : clock_(clock) {
    if (clock) {
      wall_.emplace(timeSync(*clock));
    }
  }

  void take(const unsigned char* record, std::size_t at, std::string_view calendar, std::optional<std::uint64_t> boot,
            ParsedLines& lines) {
    lines.records.insert(lines.records.end(), record, record + recordSize);
    lines.places.push_back(at);
    if (!wall_) {
      lines.clocks.add(timeStamp(record), calendar, boot);
    } else if (!calendar.empty() && (boot != clock_->boot || wall_->text(timeStamp(record)) != calendar)) {
      ++lines.otherClock;
    }
  }

private:
  std::optional<ClockRelation> clock_;
  std::optional<profile::WallClock> wall_;
};

class TextLines final : public LineFormat {
public:
  explicit TextLines(const std::optional<ClockRelation>& clock) : taker_(clock) {}

  void read(std::string_view block, bool, ParsedLines& lines) override {
    std::size_t from = 0;
    profile::FoundLine line;
    for (; reader_.next(block, from, line); from = line.end) {
      addUnread(block, from, line.begin, lines);
      taker_.take(line.record.data(), line.begin, line.calendar, line.boot, lines);
      if (!line.sound) {
        lines.faults.push_back({FindingKind::contradiction, line.begin, line.fault - line.begin});
      }
    }
    addUnread(block, from, block.size(), lines);
  }

  std::size_t whole(std::string_view text) const override { return profile::whole_lines(text); }

private:
  static void addUnread(std::string_view block, std::size_t begin, std::size_t end, ParsedLines& lines) {
    if (end - begin < profile::line_beginning.size()) {
      return;
    }
    const profile::UnreadLines unread = profile::count_unread_lines(block.substr(begin, end - begin));
    lines.truncated += unread.truncated;
    if (unread.damaged != 0) {
      lines.faults.push_back({FindingKind::damaged, begin + unread.first_damaged, 0});
    }
  }

  RecordTaker taker_;
  profile::LineReader reader_;
};

// A line's bytes, where they end, and the times after them.
struct LineTail {
  std::array<unsigned char, recordSize> record;
  std::size_t dumpEnd = 0; // just after the bytes
  std::string_view calendar;
  std::optional<std::uint64_t> boot;
};

std::optional<std::uint64_t> readNumber(std::string_view text) {
  std::uint64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc{} && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

// Removes `,"key":"value"` from the front of `rest` and returns the value; empty if it is not there.
std::string_view takeMember(std::string_view& rest, std::string_view beginning) {
  if (!rest.starts_with(beginning)) {
    return {};
  }
  const std::size_t end = rest.find('"', beginning.size());
  if (end == npos) {
    return {};
  }
  const std::string_view value = rest.substr(beginning.size(), end - beginning.size());
  rest.remove_prefix(end + 1);
  return value;
}

bool readJsonTail(std::string_view line, LineTail& tail) {
  constexpr std::string_view key = "\"binary-data\":[";
  std::size_t at = line.rfind(key);
  if (at == npos) {
    return false;
  }
  at += key.size();
  for (std::size_t i = 0; i < recordSize; ++i) {
    const auto [end, error] = std::from_chars(line.data() + at, line.data() + line.size(), tail.record[i]);
    const auto next = static_cast<std::size_t>(end - line.data());
    if (error != std::errc{} || next == line.size() || line[next] != (i + 1 < recordSize ? ',' : ']')) {
      return false;
    }
    at = next + 1;
  }
  tail.dumpEnd = at;
  std::string_view rest = line.substr(at);
  tail.calendar = takeMember(rest, ",\"calendar-time\":\"");
  tail.boot = readNumber(takeMember(rest, ",\"boot-timestamp\":\""));
  return rest == "}";
}

int hexDigit(char c) {
  return c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

bool readCsvTail(std::string_view line, LineTail& tail) {
  const std::size_t boot = line.rfind(',');
  const std::size_t calendar = boot == npos || boot == 0 ? npos : line.rfind(',', boot - 1);
  constexpr std::size_t digits = recordSize * 2;
  if (calendar == npos || calendar < digits) {
    return false;
  }
  for (std::size_t i = 0; i < recordSize; ++i) {
    const int high = hexDigit(line[calendar - digits + 2 * i]);
    const int low = hexDigit(line[calendar - digits + 2 * i + 1]);
    if (high < 0 || low < 0) {
      return false;
    }
    tail.record[i] = static_cast<unsigned char>(high << 4 | low);
  }
  tail.dumpEnd = calendar;
  tail.calendar = line.substr(calendar + 1, boot - calendar - 1);
  tail.boot = readNumber(line.substr(boot + 1));
  return tail.boot.has_value() || boot + 1 == line.size();
}

// Lines as `velstat decode` writes them: one per record, without line breaks inside.
class DecodedLines final : public LineFormat {
public:
  DecodedLines(Kind kind, const std::optional<ClockRelation>& clock)
      : isJson_(kind == Kind::jsonLines), taker_(clock),
        renderer_(isJson_ ? makeJsonRenderer({}) : makeCsvRenderer({})) {}

  void read(std::string_view block, bool atEnd, ParsedLines& lines) override {
    for (std::size_t begin = 0; begin < block.size();) {
      const std::size_t found = block.find('\n', begin);
      const std::size_t end = std::min(found, block.size());
      std::string_view line = block.substr(begin, end - begin);
      line.remove_suffix(line.ends_with('\r') ? 1 : 0);
      if (!line.empty() && (isJson_ || !isHeader(line))) {
        readLine(line, begin, found == npos && atEnd, lines);
      }
      begin = end + 1;
    }
  }

  // A line longer than any that decode writes is cut, and its parts are damage.
  std::size_t whole(std::string_view text) const override {
    constexpr std::size_t longest = std::size_t{1} << 16;
    const std::size_t last = text.rfind('\n');
    return last != npos ? last + 1 : text.size() >= longest ? text.size() : 0;
  }

private:
  static bool isHeader(std::string_view line) {
    return line.starts_with(csvHeaderBeginning()) && line.ends_with(csvHeaderEnding());
  }

  // Where the line up to its bytes differs from what decode writes; npos if it does not.
  std::size_t differenceFrom(Renderer& renderer, const unsigned char* record, std::string_view words) {
    rendered_.clear();
    renderer.render(record, 1, rendered_);
    const std::string_view written =
        rendered_.view().substr(0, rendered_.view().size() - (isJson_ ? endOfJson : endOfCsv));
    if (words == written) {
      return npos;
    }
    const auto differs = std::mismatch(words.begin(), words.end(), written.begin(), written.end());
    return static_cast<std::size_t>(differs.first - words.begin());
  }

  // In CSV, a layout's fields may be in columns of their own, so the best match over all layouts counts.
  std::size_t difference(const unsigned char* record, std::string_view words) {
    std::size_t best = differenceFrom(*renderer_, record, words);
    if (best != npos && !isJson_) {
      for (const profile::Layout* const layout : profile::shown_layouts(record)) {
        best = std::max(best, differenceFrom(*makeCsvRenderer({}, layout), record, words));
      }
    }
    return best;
  }

  void readLine(std::string_view line, std::size_t at, bool isCut, ParsedLines& lines) {
    LineTail tail;
    if (!(isJson_ ? readJsonTail(line, tail) : readCsvTail(line, tail))) {
      if (isCut) {
        ++lines.truncated;
      } else {
        lines.faults.push_back({FindingKind::damaged, at, 0});
      }
      return;
    }
    taker_.take(tail.record.data(), at, tail.calendar, tail.boot, lines);
    const std::size_t differs = difference(tail.record.data(), line.substr(0, tail.dumpEnd));
    if (differs != npos) {
      lines.faults.push_back({FindingKind::contradiction, at, differs});
    }
  }

  // The characters after the bytes in a line that was rendered without times.
  static constexpr std::size_t endOfJson = 2; // brace and newline
  static constexpr std::size_t endOfCsv = 3;  // two empty cells, and the newline

  bool isJson_;
  RecordTaker taker_;
  std::unique_ptr<Renderer> renderer_;
  OutputBuffer rendered_;
};

} // namespace

void ParsedLines::clear() {
  records.clear();
  places.clear();
  faults.clear();
  truncated = otherClock = 0;
  clocks = {};
}

std::unique_ptr<LineFormat> makeLineFormat(Kind kind, const std::optional<ClockRelation>& clock) {
  if (kind == Kind::lines) {
    return std::make_unique<TextLines>(clock);
  }
  return std::make_unique<DecodedLines>(kind, clock);
}

} // namespace vel::sources
