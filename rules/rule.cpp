// Reads the header of a rule, and finds the rules' files.
#include "rules/rule.h"

#include <formats/files.h>
#include <query/sql_header.h>

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
constexpr std::array<std::size_t, 5> requiredKeys = {title, severity, finding, why, next};

[[noreturn]] void fail(const std::string& file, std::size_t line, const std::string& cause) {
  throw Error(fmt::format("{}: line {}: {}", file, line, cause));
}

struct Header {
  std::array<Words, keys> values; // line 0: the key is missing

  bool has(Key key) const { return values[key].line != 0; }
};

Header readHeader(std::string_view content, const std::string& file) {
  const query::HeaderKeys expected{keyNames, requiredKeys, {}, "a rule", "docs/velstat-triage.md"};
  Header header;
  try {
    for (query::HeaderEntry& entry : query::readHeader(content, file, expected)) {
      header.values[entry.key] = {std::move(entry.text), entry.line};
    }
  } catch (const query::Error& error) {
    throw Error(error.what());
  }
  return header;
}

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

// The path of a sample, which must be inside the folder of the rule.
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
  Header header = readHeader(content, rule.file);
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
    placeholders(*words, rule.file); // only checked: it throws if a '}' is missing
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
  rules.reserve(files.size());
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
