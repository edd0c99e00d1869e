// A rule of triage: an SQL file whose first lines, which are comments, say in words what the query finds.
// docs/velstat-triage.md describes the format to users.
#pragma once

#include <formats/error.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vel::rules {

// One line, with the file and, where one is to blame, the line.
class Error : public formats::Error {
public:
  using formats::Error::Error;
};

// From the least.
enum class Severity : std::uint8_t { note, warning, error };
const char* severityName(Severity severity);
std::optional<Severity> severityNamed(std::string_view name);

// Words with placeholders: {clicks} is the value of the column `clicks`.
struct Words {
  std::string text;
  std::size_t line = 0; // of the file, from 1
};

struct Rule {
  std::string name;  // of the file, without .sql
  std::string file;  // in messages
  std::string title; // one line, for lists of rules
  Severity severity = Severity::warning;
  unsigned rank = 50;    // among findings of its severity the greatest is first; at most 100
  Words finding;         // what was seen
  Words why;             // it matters
  Words next;            // what to look at
  std::string triggers;  // a sample that it finds something in, relative to the file; may be empty
  std::string clean;     // one that it finds nothing in
  std::string reference; // what both are compared with
  std::string sql;       // the whole file, so that line numbers are those of the file
};

// The placeholders of a text, in order. Throws Error, naming `file`.
std::vector<std::string> placeholders(const Words& words, const std::string& file);

// `file` is its name in messages, and gives the rule its name. Throws Error.
Rule readRule(std::string content, const std::filesystem::path& file);

// The rules that are built in. [borrowed: for the life of the process]
const std::vector<Rule>& shippedRules();
// All *.sql files of a folder, by name. Throws formats::Error, also for a folder without any.
std::vector<Rule> readRules(const std::filesystem::path& folder);
// Adds rules to others; one of the same name takes the place of the other.
void addRules(std::vector<Rule>& rules, std::vector<Rule> added);

} // namespace vel::rules
