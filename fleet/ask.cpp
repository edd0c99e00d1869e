// The settings that questions run with.
#include "fleet/ask.h"

#include <fmt/format.h>

#include <string>

namespace vel::fleet {

namespace {

std::string_view withoutEnd(std::string_view sql) {
  const std::size_t last = sql.find_last_not_of(" \t\r\n;");
  return sql.substr(0, last == std::string_view::npos ? 0 : last + 1);
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
  // On a line of its own, as the SQL may end with a comment.
  const std::string statement = fmt::format("{}\nFORMAT {}", withoutEnd(sql), answerFormat);
  http.run(
      statement, [&](std::string_view piece) { reader.take(piece); }, settingsFor(limit));
  reader.end();
}

} // namespace vel::fleet
