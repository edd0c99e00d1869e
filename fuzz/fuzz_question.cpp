// Hostile questions: each is read as a question whose parts come from the file, or refused in one line; a value never
// becomes more than one literal.
#include "require.h"
#include <fleet/question.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

namespace {

using vel::fuzz::require;
using namespace vel::fleet;

void check(const Question& question, const std::string& content) {
  require(question.name == "question" && question.sql == content, "not the file");
  require(!question.title.empty() && question.title.find('\n') == std::string::npos, "a title that is not one line");
  Values values;
  for (const Parameter& parameter : question.parameters) {
    require(!parameter.name.empty() && parameter.line != 0, "a parameter without name or line");
    const bool isText = parameter.type == ParameterType::string;
    const bool isDay = parameter.type == ParameterType::day;
    values.emplace(parameter.name, isText ? "' OR \\" : isDay ? "2026-11-21" : "-5");
  }
  const std::string sql = bound(question, values);
  require(question.parameters.empty() || sql != content, "parameters without values");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string content(reinterpret_cast<const char*>(data), size);
  try {
    check(readQuestion(content, "a/question.sql"), content);
  } catch (const Error& error) {
    const std::string_view line = error.what();
    require(line.starts_with("a/question.sql: "), "an error that does not name its file");
    require(line.find('\n') == std::string_view::npos && line.size() < 1000, "an error that is not a short line");
  }
  return 0;
}
