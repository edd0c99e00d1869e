// Reads the header of a rule line by line, and finds the rules' files.
#include "rules/rule.h"

#include <formats/files.h>
#include <formats/nearest_name.h>

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <span>
#include <system_error>
#include <utility>

namespace vel {
extern const std::span<const std::pair<std::string_view, std::string_view>> embeddedRules;
}

namespace vel::rules {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t longestRule = std::size_t{64} << 10;
constexpr std::size_t mostRules = 1000;
constexpr std::array severities = {"note", "warning", "error"};

// The keys of a header, in the order of Header::values.
enum Key : std::size_t { title, severity, rank, finding, why, next, triggers, clean, reference, keys };
constexpr std::array<std::string_view, keys> keyNames = {"title", "severity", "rank",  "finding",  "why",
                                                         "next",  "triggers", "clean", "reference"};
constexpr std::array<Key, 5> requiredKeys = {title, severity, finding, why, next};

[[noreturn]] void fail(const std::string& file, std::size_t line, const std::string& cause) {
  throw Error(fmt::format("{}: line {}: {}", file, line, cause));
}

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view blanks = " \t\r";
  const std::size_t begin = text.find_first_not_of(blanks);
  return begin == std::string_view::npos ? std::string_view()
                                         : text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

struct Header {
  std::array<Words, keys> values; // line 0: it is not there

  bool has(Key key) const { return values[key].line != 0; }
};

// Takes the comments at the beginning of a file.
class HeaderReader {
public:
  explicit HeaderReader(const std::string& file) : file_(file) {}

  Header read(std::string_view content) {
    for (std::size_t begin = 0; begin < content.size();) {
      const std::size_t end = std::min(content.find('\n', begin), content.size());
      const std::string_view line = content.substr(begin, end - begin);
      if (!line.starts_with("--")) {
        break;
      }
      ++line_;
      take(line.substr(2));
      begin = end + 1;
    }
    if (line_ == 0) {
      fail(file_, 1, "a rule begins with comments such as '-- title: …'; docs/velstat-triage.md lists them");
    }
    for (const Key key : requiredKeys) {
      if (!header_.has(key)) {
        fail(file_, line_, fmt::format("the comments at the beginning have no '-- {}: …'", keyNames[key]));
      }
    }
    return std::move(header_);
  }

private:
  // "  more words" continues the line before, " key: words" is a new key.
  void take(std::string_view comment) {
    const std::string_view text = trimmed(comment);
    const bool continues = comment.starts_with("  ");
    if (continues && current_ != nullptr) {
      if (!text.empty()) {
        current_->text += current_->text.empty() ? "" : " ";
        current_->text += text;
      }
      return;
    }
    const std::size_t colon = text.find(':');
    if (continues || colon == std::string_view::npos) {
      fail(file_, line_, "neither '-- key: words' nor the words' next line, which begins with '--' and two blanks");
    }
    begin(text.substr(0, colon), trimmed(text.substr(colon + 1)));
  }

  void begin(std::string_view name, std::string_view text) {
    const auto found = std::find(keyNames.begin(), keyNames.end(), name);
    if (found == keyNames.end()) {
      constexpr std::size_t shown = 40;
      const auto nearest = formats::nearestName(name, keyNames);
      fail(file_, line_,
           fmt::format("'{}' is unknown; {}", name.substr(0, shown),
                       nearest ? fmt::format("did you mean '{}'?", *nearest)
                               : fmt::format("the keys are {}", fmt::join(keyNames, ", "))));
    }
    current_ = &header_.values[static_cast<std::size_t>(found - keyNames.begin())];
    if (current_->line != 0) {
      fail(file_, line_, fmt::format("'{}' is there twice, first in line {}", name, current_->line));
    }
    *current_ = {std::string(text), line_};
  }

  const std::string& file_;
  Header header_;
  Words* current_ = nullptr; // that a next line would continue
  std::size_t line_ = 0;
};

unsigned rankOf(const Words& words, const std::string& file) {
  constexpr unsigned greatest = 100;
  unsigned value = 0;
  const char* const end = words.text.data() + words.text.size();
  const auto [stop, error] = std::from_chars(words.text.data(), end, value);
  if (error != std::errc() || stop != end || value > greatest) {
    fail(file, words.line, fmt::format("'rank' is a number from 0 to {}", greatest));
  }
  return value;
}

// A sample lies beside its rule.
std::string sampleOf(const Words& words, const std::string& file) {
  const fs::path path = words.text;
  if (path.is_absolute() || std::find(path.begin(), path.end(), "..") != path.end()) {
    fail(file, words.line, "a sample lies in the folder of the rule: its path is relative and has no '..'");
  }
  return words.text;
}

} // namespace

const char* severityName(Severity severity) {
  return severities[static_cast<std::size_t>(severity)];
}

std::optional<Severity> severityNamed(std::string_view name) {
  const auto found = std::find(severities.begin(), severities.end(), name);
  return found == severities.end() ? std::nullopt : std::optional(static_cast<Severity>(found - severities.begin()));
}

std::vector<std::string> placeholders(const Words& words, const std::string& file) {
  std::vector<std::string> names;
  for (std::size_t begin = words.text.find('{'); begin != std::string::npos; begin = words.text.find('{', begin)) {
    const std::size_t end = words.text.find('}', begin);
    if (end == std::string::npos) {
      fail(file, words.line, "a '{' without its '}'");
    }
    names.push_back(words.text.substr(begin + 1, end - begin - 1));
    begin = end;
  }
  return names;
}

Rule readRule(std::string content, const fs::path& path) {
  Rule rule;
  rule.file = path.string();
  rule.name = path.stem().string();
  if (content.size() > longestRule) {
    throw Error(fmt::format("{}: longer than the {} bytes that a rule may have", rule.file, longestRule));
  }
  Header header = HeaderReader(rule.file).read(content);
  const Words& severityWords = header.values[severity];
  const auto severityRead = severityNamed(severityWords.text);
  if (!severityRead) {
    fail(rule.file, severityWords.line, fmt::format("'severity' is one of {}", fmt::join(severities, ", ")));
  }
  rule.severity = *severityRead;
  if (header.has(rank)) {
    rule.rank = rankOf(header.values[rank], rule.file);
  }
  rule.triggers = sampleOf(header.values[triggers], rule.file);
  rule.clean = sampleOf(header.values[clean], rule.file);
  rule.reference = sampleOf(header.values[reference], rule.file);
  for (const Key key : {title, finding, why, next}) {
    if (header.values[key].text.empty()) {
      fail(rule.file, header.values[key].line, fmt::format("'{}' says nothing", keyNames[key]));
    }
  }
  rule.title = std::move(header.values[title].text);
  rule.finding = std::move(header.values[finding]);
  rule.why = std::move(header.values[why]);
  rule.next = std::move(header.values[next]);
  for (const Words* words : {&rule.finding, &rule.why, &rule.next}) {
    placeholders(*words, rule.file); // which throws if one has no end
  }
  rule.sql = std::move(content);
  return rule;
}

const std::vector<Rule>& shippedRules() {
  static const std::vector<Rule> rules = [] {
    std::vector<Rule> read;
    for (const auto& [name, content] : embeddedRules) {
      read.push_back(readRule(std::string(content), name));
    }
    return read;
  }();
  return rules;
}

std::vector<Rule> readRules(const fs::path& folder) {
  std::vector<fs::path> files;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    if (entry->path().extension() == ".sql") {
      files.push_back(entry->path());
    }
  }
  if (error) {
    throw Error(fmt::format("{}: {}", folder.string(), error.message()));
  }
  if (files.empty() || files.size() > mostRules) {
    throw Error(fmt::format("{}: a folder of 1 to {} rules (*.sql) is expected; it has {}", folder.string(), mostRules,
                            files.size()));
  }
  std::sort(files.begin(), files.end());
  std::vector<Rule> rules;
  for (const fs::path& file : files) {
    rules.push_back(readRule(formats::readRegularFile(file, longestRule), file));
  }
  return rules;
}

void addRules(std::vector<Rule>& rules, std::vector<Rule> added) {
  for (Rule& rule : added) {
    const auto same =
        std::find_if(rules.begin(), rules.end(), [&](const Rule& each) { return each.name == rule.name; });
    if (same == rules.end()) {
      rules.push_back(std::move(rule));
    } else {
      *same = std::move(rule);
    }
  }
}

} // namespace vel::rules
