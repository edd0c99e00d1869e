// Checks that a question only reads, and runs it with limits.
#include "fleet/ask.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>

namespace vel::fleet {

namespace {

std::string_view withoutEnd(std::string_view sql) {
  const std::size_t last = sql.find_last_not_of(" \t\r\n;");
  return sql.substr(0, last == std::string_view::npos ? 0 : last + 1);
}

// The first word after blanks, brackets and comments, in upper case.
std::string firstWord(std::string_view sql) {
  for (;;) {
    sql.remove_prefix(std::min(sql.find_first_not_of(" \t\r\n("), sql.size()));
    const std::string_view end = sql.starts_with("--") ? "\n" : sql.starts_with("/*") ? "*/" : "";
    if (end.empty()) {
      break;
    }
    sql.remove_prefix(std::min(sql.find(end), sql.size() - end.size()) + end.size());
  }
  std::string word;
  for (const char c : sql) {
    const char upper = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    if (upper < 'A' || upper > 'Z') {
      break;
    }
    word += upper;
  }
  return word;
}

// Checked here too, because a server still lets users who may only read run KILL QUERY.
void requireQuestion(std::string_view sql) {
  const std::string word = firstWord(sql);
  if (word != "SELECT" && word != "WITH") {
    throw Error("a question begins with SELECT or WITH");
  }
}

Settings settingsFor(std::chrono::seconds limit) {
  return {
      // The server sends nothing before the query has ended, so a failure never follows part of an answer.
      {"wait_end_of_query", "1"},
      {"max_execution_time", std::to_string(limit.count())},
      // Conditions are applied inside of views, so that the sorting key finds the rows of one device.
      {"enable_optimize_predicate_expression", "1"},
      // Tables in IN and JOIN are read from all shards, so that questions need not say GLOBAL.
      {"distributed_product_mode", "global"},
      // Allows only SELECT. This comes last, as no setting can be changed after it.
      {"readonly", "1"},
  };
}

} // namespace

void askFleet(Http& http, std::string_view sql, std::chrono::seconds limit, AnswerReader& reader) {
  requireQuestion(sql);
  // FORMAT is on its own line, as the SQL may end with a comment.
  const std::string statement = fmt::format("{}\nFORMAT {}", withoutEnd(sql), answerFormat);
  http.run(
      statement, [&](std::string_view piece) { reader.take(piece); }, settingsFor(limit));
  reader.end();
}

} // namespace vel::fleet
