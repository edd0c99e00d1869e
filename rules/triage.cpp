// Runs each rule's SQL and turns its rows into findings.
#include "rules/triage.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <tuple>
#include <utility>

namespace vel::rules {

namespace {

using query::Statement;
using query::ValueType;

std::optional<std::size_t> columnNamed(const Statement& statement, std::string_view name) {
  for (std::size_t i = 0; i < statement.columns(); ++i) {
    if (statement.name(i) == name) {
      return i;
    }
  }
  return std::nullopt;
}

// A column's value for a text. It is cut if it is long, since its length may come from the device.
std::string valueText(const Statement& row, std::size_t column) {
  constexpr std::size_t longest = 200;
  if (row.type(column) == ValueType::blob) {
    return fmt::format("{} bytes", row.blob(column).size());
  }
  std::string_view text = row.text(column);
  if (text.size() <= longest) {
    return std::string(text);
  }
  std::size_t end = longest;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) { // inside a character
    --end;
  }
  return std::string(text.substr(0, end)) + "…";
}

// An input's name as a word of a shell command, quoted if the shell would interpret one of its characters.
std::string commandWord(const std::string& value) {
  const auto isPlain = [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || static_cast<unsigned char>(c) >= 0x80 ||
           std::string_view("_./@%+=:,-").find(c) != std::string_view::npos;
  };
  if (!value.empty() && std::all_of(value.begin(), value.end(), isPlain)) {
    return value;
  }
  std::string word = "'";
  for (const char c : value) {
    word += c == '\'' ? std::string_view("'\\''") : std::string_view(&c, 1);
  }
  return word + "'";
}

// A text for a command, which may come from the device. Characters that a shell would interpret, even inside the quotes
// that the rule may have put around it, are replaced.
std::string inertText(std::string value) {
  std::replace_if(
      value.begin(), value.end(),
      [](char c) { return std::string_view("$`\\\"'!\n").find(c) != std::string_view::npos; }, '?');
  return value;
}

enum class Use { prose, commands };

// Fills in placeholders. Values in commands are made safe, because people copy commands into a shell.
std::string filled(const Words& words, const Statement& row, Use use) {
  std::string text;
  std::string_view rest = words.text;
  for (std::size_t begin = rest.find('{'); begin != std::string_view::npos; begin = rest.find('{')) {
    const std::size_t end = rest.find('}', begin);
    text += rest.substr(0, begin);
    const std::string_view name = rest.substr(begin + 1, end - begin - 1);
    if (const auto column = columnNamed(row, name)) {
      const std::string value = valueText(row, *column);
      text += use == Use::prose ? value : name == "source" ? commandWord(value) : inertText(value);
    }
    rest.remove_prefix(end + 1);
  }
  return text += rest;
}

std::string textIn(const Statement& row, std::string_view name) {
  const auto column = columnNamed(row, name);
  return column ? std::string(row.text(*column)) : std::string();
}

std::optional<std::uint64_t> numberIn(const Statement& row, std::string_view name) {
  const auto column = columnNamed(row, name);
  if (!column || row.type(*column) != ValueType::integer || row.integer(*column) < 0) {
    return std::nullopt;
  }
  return static_cast<std::uint64_t>(row.integer(*column));
}

// Adds the rule's file to errors of its SQL.
template <class Run>
auto inRule(const Rule& rule, Run run) {
  try {
    return run();
  } catch (const query::Error& error) {
    throw Error(fmt::format("{}: {}", rule.file, error.what()));
  }
}

Statement prepare(query::Database& database, const Rule& rule) {
  Statement statement = inRule(rule, [&] { return database.prepare(rule.sql); });
  for (const Words* words : {&rule.finding, &rule.why, &rule.next}) {
    for (const std::string& name : placeholders(*words, rule.file)) {
      if (!columnNamed(statement, name)) {
        std::vector<std::string_view> names;
        for (std::size_t i = 0; i < statement.columns(); ++i) {
          names.push_back(statement.name(i));
        }
        throw Error(fmt::format("{}: line {}: {{{}}} is not a column of the query, which has {}", rule.file,
                                words->line, name, fmt::join(names, ", ")));
      }
    }
  }
  return statement;
}

Evidence evidenceIn(const Statement& row, const std::vector<sources::InputInfo>& inputs) {
  Evidence evidence;
  evidence.source = textIn(row, "source");
  evidence.report = numberIn(row, "report");
  evidence.path = textIn(row, "path");
  evidence.position = numberIn(row, "position");
  const auto input =
      std::find_if(inputs.begin(), inputs.end(), [&](const auto& each) { return each.name == evidence.source; });
  if (input != inputs.end() && evidence.report && *evidence.report < input->capture.reports.size()) {
    const sources::Report& report = input->capture.reports[*evidence.report];
    evidence.title = report.title;
    evidence.file = report.file;
  }
  return evidence;
}

void run(query::Database& database, const sources::Sources& sources, const Rule& rule, std::vector<Finding>& findings) {
  Statement row = prepare(database, rule);
  std::size_t count = 0;
  while (inRule(rule, [&] { return row.step(); })) {
    if (++count > mostFindings) {
      ++findings.back().more;
      continue;
    }
    findings.push_back({.rule = rule.name,
                        .severity = rule.severity,
                        .rank = rule.rank,
                        .text = filled(rule.finding, row, Use::prose),
                        .why = filled(rule.why, row, Use::prose),
                        .next = filled(rule.next, row, Use::commands),
                        .evidence = evidenceIn(row, sources.inputs())});
  }
}

} // namespace

void sortWorstFirst(std::vector<Finding>& findings) {
  std::stable_sort(findings.begin(), findings.end(), [](const Finding& a, const Finding& b) {
    return std::tie(b.severity, b.rank, a.rule) < std::tie(a.severity, a.rank, b.rule);
  });
}

std::vector<Finding> triage(sources::Sources& sources, sources::Sources* reference, std::span<const Rule> rules,
                            const query::Limits& limits, const std::function<void(const Error&)>& unfinished) {
  sources::Sources nothing({}, {});
  query::Database database(sources, reference == nullptr ? nothing : *reference, limits);
  for (const Rule& rule : rules) {
    prepare(database, rule);
  }
  std::vector<Finding> findings;
  for (const Rule& rule : rules) {
    try {
      run(database, sources, rule, findings);
    } catch (const Error& error) {
      if (!unfinished) {
        throw;
      }
      unfinished(error);
    }
  }
  sortWorstFirst(findings);
  return findings;
}

} // namespace vel::rules
