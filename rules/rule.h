// A rule of triage: an SQL file that begins with comments which say in words what the query finds.
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

// One line of text that names the file and, if possible, the line in it.
class Error : public formats::Error {
public:
  using formats::Error::Error;
};

// In ascending order.
enum class Severity : std::uint8_t { note, warning, error };
const char* severityName(Severity severity);
std::optional<Severity> severityNamed(std::string_view name);

// Words with placeholders: {clicks} is the value of the column `clicks`.
struct Words {
  std::string text;
  std::size_t line = 0; // of the file, from 1
};

struct Rule {
  std::string name;  // of the file without .sql
  std::string file;  // in messages
  std::string title; // one line, for lists of rules
  Severity severity = Severity::warning;
  unsigned rank = 50;    // findings of equal severity are sorted by it, greatest first; at most 100
  Words finding;         // what was seen
  Words why;             // why it matters
  Words next;            // what to look at next
  std::string triggers;  // a sample in which it finds something, relative to the file; may be empty
  std::string clean;     // a sample in which it finds nothing
  std::string reference; // a sample with which both are compared
  std::string sql;       // the whole file, so that line numbers are those of the file
};

// The placeholders of a text, in order. Throws Error, naming `file`.
std::vector<std::string> placeholders(const Words& words, const std::string& file);

// Parses a rule. `file` names it in messages; the rule's name is taken from it. Throws Error.
Rule readRule(std::string content, const std::filesystem::path& file);

// The built-in rules. [borrowed: for the life of the process]
const std::vector<Rule>& shippedRules();
// Reads all *.sql files of a folder, sorted by name. Throws formats::Error, also for a folder without any.
std::vector<Rule> readRules(const std::filesystem::path& folder);
// Adds rules; an added rule replaces one of the same name.
void addRules(std::vector<Rule>& rules, std::vector<Rule> added);

} // namespace vel::rules
