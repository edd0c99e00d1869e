// Compares what the services and reports of two captures say, value by value. Lines of records are left out: they are
// compared as records.
#include <sources/report_lines.h>
#include <velstat/diff/difference.h>
#include <velstat/diff/value_diff.h>
#include <velstat/text/capture_values.h>

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <map>
#include <set>
#include <utility>

namespace vel::stat {

namespace {

using formats::Value;
using sources::Capture;
using sources::Report;

// The plug-in marks times by the end of their keys, as in "button down ts".
bool isTimeStamp(std::string_view path, const Value* value) {
  constexpr std::string_view end = "ts";
  if (!path.ends_with(end) || value == nullptr || value->as<std::int64_t>() == nullptr) {
    return false;
  }
  path.remove_suffix(end.size());
  return path.empty() || path.ends_with(' ') || path.ends_with('/');
}

bool hasLines(const Report& report) {
  return report.value.as<formats::Array>() != nullptr && sources::isReport(report.value);
}

bool hasTitle(const sources::InputInfo& input) {
  return input.kind == sources::Kind::capture;
}

std::string serviceOf(const Capture& capture, const Report& report) {
  const auto handler = std::find_if(capture.handlers.begin(), capture.handlers.end(),
                                    [&](const auto& h) { return report.handler != 0 && h.number == report.handler; });
  return handler == capture.handlers.end() ? std::string() : handler->service;
}

using Titles = std::multiset<std::string_view>;

Titles titlesOf(const Capture& capture) {
  Titles titles;
  for (const Report& report : capture.reports) {
    titles.insert(report.title);
  }
  return titles;
}

// Reports by name: their title, and where a side has several of that title, the service that each comes from or, if
// that is not known, its place among them.
using Named = std::vector<std::pair<std::string, const Report*>>;

Named named(const Capture& capture, const Titles& titles, const Titles& others) {
  Named reports;
  UniqueNames names;
  for (const Report& report : capture.reports) {
    if (hasLines(report)) {
      continue;
    }
    const bool repeated = titles.count(report.title) > 1 || others.count(report.title) > 1;
    const std::string service = repeated ? serviceOf(capture, report) : std::string();
    reports.emplace_back(names.add(service.empty() ? report.title : fmt::format("{} ({})", report.title, service)),
                         &report);
  }
  return reports;
}

class ReportComparison {
public:
  explicit ReportComparison(const TakeReportValue& take) : take_(take) {}

  void compare(std::optional<std::string_view> name, const Value& before, const Value& after) {
    const auto take = [&](std::string_view path, const Value* old, const Value* current) {
      if (!isTimeStamp(path, old != nullptr ? old : current)) {
        take_(path, old, current);
      }
    };
    compareValues(before, after, take, name);
  }

  void compareHeads(std::string_view name, const Report& before, const Report& after) {
    const std::pair<const char*, std::string Report::*> fields[] = {{"(title)", &Report::title},
                                                                    {"(decoder library)", &Report::decoderLibrary},
                                                                    {"(decoder type)", &Report::decoderType}};
    for (const auto& [field, text] : fields) {
      if (before.hasHeader && after.hasHeader && before.*text != after.*text) {
        ValuePath path;
        if (!name.empty()) {
          path.push(name);
        }
        path.push(field);
        const Value old{before.*text};
        const Value current{after.*text};
        take_(path.text(), &old, &current);
      }
    }
  }

  void compareNamed(const Named& before, const Named& after) {
    std::map<std::string_view, const Report*> rest;
    for (const auto& [name, report] : after) {
      rest.emplace(name, report);
    }
    for (const auto& [name, report] : before) {
      const auto other = rest.find(name);
      if (other == rest.end()) {
        addOneSided(name, true);
        continue;
      }
      compareHeads(name, *report, *other->second);
      compare(name, report->value, other->second->value);
      rest.erase(other);
    }
    for (const auto& [name, report] : after) {
      if (rest.contains(name)) {
        addOneSided(name, false);
      }
    }
  }

private:
  void addOneSided(std::string_view name, bool before) {
    const Value report{std::string("a whole report")};
    ValuePath path;
    path.push(name);
    take_(path.text(), before ? &report : nullptr, before ? nullptr : &report);
  }

  const TakeReportValue& take_;
};

// The text with 0 in place of each number, and the numbers.
std::pair<std::string, std::vector<double>> withoutNumbers(std::string_view text) {
  std::pair<std::string, std::vector<double>> parts;
  while (!text.empty()) {
    double number = 0;
    const bool digit = text.front() >= '0' && text.front() <= '9';
    const auto [end, error] = digit ? std::from_chars(text.data(), text.data() + text.size(), number)
                                    : std::from_chars_result{text.data() + 1, {}};
    if (digit && error == std::errc()) {
      parts.second.push_back(number);
      parts.first += '0';
    } else {
      parts.first += text.front();
    }
    text.remove_prefix(static_cast<std::size_t>(std::max(end, text.data() + 1) - text.data()));
  }
  return parts;
}

std::optional<double> numberOf(const Value& value) {
  const auto* integer = value.as<std::int64_t>();
  const auto* real = value.as<double>();
  return integer != nullptr ? std::optional(static_cast<double>(*integer))
         : real != nullptr  ? std::optional(*real)
                            : std::nullopt;
}

} // namespace

bool hasChangedMuch(double before, double after) {
  const bool sameSign = (before > 0 && after > 0) || (before < 0 && after < 0);
  if (!sameSign) {
    return before != after;
  }
  return std::fabs(after) >= 2 * std::fabs(before) || std::fabs(before) >= 2 * std::fabs(after);
}

bool isNotable(const Value* before, const Value* after) {
  if (before == nullptr || after == nullptr || before->content.index() != after->content.index()) {
    return true;
  }
  if (const auto old = numberOf(*before)) {
    return hasChangedMuch(*old, *numberOf(*after));
  }
  const auto* text = before->as<std::string>();
  constexpr std::size_t longest = 4096; // longer texts are not compared by word
  if (text == nullptr || std::max(text->size(), after->as<std::string>()->size()) > longest) {
    return true;
  }
  const auto [words, numbers] = withoutNumbers(*text);
  const auto [otherWords, otherNumbers] = withoutNumbers(*after->as<std::string>());
  return words != otherWords || !std::equal(numbers.begin(), numbers.end(), otherNumbers.begin(), otherNumbers.end(),
                                            [](double old, double current) { return !hasChangedMuch(old, current); });
}

void compareReports(const sources::InputInfo& before, const sources::InputInfo& after, const TakeReportValue& take) {
  ReportComparison comparison(take);
  const Capture& old = before.capture;
  const Capture& current = after.capture;
  if (!hasTitle(before) && !hasTitle(after)) { // two files
    if (!hasLines(old.reports.front()) || !hasLines(current.reports.front())) {
      comparison.compareHeads({}, old.reports.front(), current.reports.front());
      comparison.compare({}, old.reports.front().value, current.reports.front().value);
    }
    return;
  }
  const Titles titles = titlesOf(old);
  const Titles otherTitles = titlesOf(current);
  comparison.compareNamed(named(old, titles, otherTitles), named(current, otherTitles, titles));
  if (!old.services.empty() && !current.services.empty()) { // a capture without a manifest has none
    comparison.compare("services", serviceValues(old), serviceValues(current));
  }
}

} // namespace vel::stat
