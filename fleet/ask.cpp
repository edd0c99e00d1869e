// The settings that questions run with.
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

// After blanks and comments; in upper case.
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

// A server that lets users only read still lets them KILL QUERY.
void requireQuestion(std::string_view sql) {
  const std::string word = firstWord(sql);
  if (word != "SELECT" && word != "WITH") {
    throw Error("a question begins with SELECT or WITH");
  }
}

Settings settingsFor(std::chrono::seconds limit) {
  return {
      // A failure comes instead of the answer, not in the middle of it.
      {"wait_end_of_query", "1"},
      {"max_execution_time", std::to_string(limit.count())},
      // Conditions reach through the views, so that one device's rows are found by the sorting key.
      {"enable_optimize_predicate_expression", "1"},
      // The tables of IN and JOIN are those of all shards: a question need not say GLOBAL.
      {"distributed_product_mode", "global"},
      // SELECT only; the last one, as no other setting may change then.
      {"readonly", "1"},
  };
}

} // namespace

void askFleet(Http& http, std::string_view sql, std::chrono::seconds limit, AnswerReader& reader) {
  requireQuestion(sql);
  // On a line of its own, as the SQL may end with a comment.
  const std::string statement = fmt::format("{}\nFORMAT {}", withoutEnd(sql), answerFormat);
  http.run(
      statement, [&](std::string_view piece) { reader.take(piece); }, settingsFor(limit));
  reader.end();
}

} // namespace vel::fleet
