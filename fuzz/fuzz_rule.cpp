// Hostile rule files: each is read as a rule whose parts come from the file, or refused in one line.
#include "require.h"
#include <rules/rule.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace {

using vel::fuzz::require;
using namespace vel::rules;

void check(const Rule& rule, const std::string& content) {
  require(rule.name == "rule" && rule.file == "a/rule.sql", "another name than the file's");
  require(rule.sql == content, "the SQL is not the file");
  require(rule.rank <= 100, "a rank that is too great");
  require(rule.title.find('\n') == std::string::npos && !rule.title.empty(), "a title of more or less than one line");
  for (const Words* words : {&rule.finding, &rule.why, &rule.next}) {
    require(words->line != 0 && words->text.size() <= content.size(), "words that are not from the file");
    for (const std::string& name : placeholders(*words, rule.file)) {
      require(words->text.find('{' + name + '}') != std::string::npos, "a placeholder that is not in its text");
    }
  }
  for (const std::string* sample : {&rule.triggers, &rule.clean, &rule.reference}) {
    require(!sample->starts_with('/') && !sample->starts_with("../"), "a sample elsewhere");
  }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string content(reinterpret_cast<const char*>(data), size);
  try {
    check(readRule(content, "a/rule.sql"), content);
  } catch (const Error& error) {
    const std::string_view line = error.what();
    require(line.starts_with("a/rule.sql: "), "an error that does not name its file");
    require(line.find('\n') == std::string_view::npos, "an error of more than one line");
    require(line.size() < 1000, "an error that is too long");
  }
  return 0;
}
