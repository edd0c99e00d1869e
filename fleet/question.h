// A question to a fleet: an SQL file whose first lines, which are comments, say what it answers and which parameters it
// has. docs/velstat-fleet.md describes the format to users.
#pragma once

#include <fleet/error.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vel::fleet {

enum class ParameterType : std::uint8_t { string, integer, number, day };
const char* parameterTypeName(ParameterType type);

// In the file: "-- parameter: least integer = 100: devices with fewer records are left out". In the SQL: {least}.
struct Parameter {
  std::string name;
  ParameterType type = ParameterType::string;
  std::optional<std::string> usual; // the default value; none: a value must be given
  std::string about;                // one line
  std::size_t line = 0;             // of the file
};

struct Question {
  std::string name;        // of the file, without .sql
  std::string file;        // in messages
  std::string title;       // one line, for lists
  std::string explanation; // what the answer means
  std::vector<Parameter> parameters;
  std::vector<std::string> columns; // of the answer; empty: not known
  std::string sql;                  // the whole file, so that line numbers are those of the file
};

// `file` is its name in messages, and gives the question its name. Throws Error.
Question readQuestion(std::string content, const std::string& file);
// The same for SQL that may have no header: if its first line is not a "-- title: …", all of it is SQL without
// parameters.
Question readOwnSql(std::string content, const std::string& file);

// The questions that are built in, by name. [borrowed: for the life of the process]
const std::vector<Question>& shippedQuestions();
// Throws Error with the nearest name.
const Question& shippedQuestion(std::string_view name);

// The SQL with each parameter replaced by a literal of its type, so that a value is never run as SQL. Throws Error for
// a value of the wrong type, for an unknown parameter and for a missing value.
using Values = std::map<std::string, std::string, std::less<>>;
std::string bound(const Question& question, const Values& values);

} // namespace vel::fleet
