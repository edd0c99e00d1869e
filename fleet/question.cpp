// Reads questions, and puts values into their SQL.
#include "fleet/question.h"

#include <fleet/sql_text.h>
#include <formats/nearest_name.h>
#include <query/sql_header.h>

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <functional>
#include <span>
#include <system_error>
#include <utility>

namespace vel {
extern const std::span<const std::pair<std::string_view, std::string_view>> embeddedQuestions;
}

namespace vel::fleet {

namespace {

constexpr std::size_t longestQuestion = std::size_t{64} << 10;
constexpr std::array typeNames = {"string", "integer", "number", "day"};

// The keys of a header.
enum Key : std::size_t { title, explanation, parameter, columns, keys };
constexpr std::array<std::string_view, keys> keyNames = {"title", "explanation", "parameter", "columns"};
constexpr std::array<std::size_t, 3> requiredKeys = {title, explanation, columns};
constexpr std::array<std::size_t, 1> repeatedKeys = {parameter};

[[noreturn]] void fail(const Question& question, std::size_t line, const std::string& cause) {
  throw Error(fmt::format("{}: line {}: {}", question.file, line, cause));
}

bool isName(std::string_view text) {
  const auto isFirst = [](char c) { return (c >= 'a' && c <= 'z') || c == '_'; };
  const auto isNext = [&](char c) { return isFirst(c) || (c >= '0' && c <= '9') || c == '-'; };
  constexpr std::size_t longest = 40;
  return !text.empty() && text.size() <= longest && isFirst(text.front()) &&
         std::all_of(text.begin(), text.end(), isNext);
}

bool isDigits(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

bool isDay(std::string_view text) {
  constexpr std::size_t size = 10; // 2026-11-21
  if (text.size() != size || text[4] != '-' || text[7] != '-' || !isDigits(text.substr(0, 4)) ||
      !isDigits(text.substr(5, 2)) || !isDigits(text.substr(8))) {
    return false;
  }
  const int month = (text[5] - '0') * 10 + text[6] - '0';
  const int day = (text[8] - '0') * 10 + text[9] - '0';
  return month >= 1 && month <= 12 && day >= 1 && day <= 31;
}

template <class Number>
std::optional<Number> numberIn(std::string_view text) {
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

// A number as digits, as LIMIT does not accept a function call. Negative numbers are in brackets, as "--5" is a
// comment.
template <class Number>
std::string digits(Number number) {
  const std::string text = fmt::format("{}", number);
  return text.starts_with('-') ? "(" + text + ")" : text;
}

// The value as an SQL literal; none if it is not of the type.
std::optional<std::string> literal(ParameterType type, std::string_view value) {
  switch (type) {
  case ParameterType::string:
    return textLiteral(value);
  case ParameterType::integer: {
    const auto number = numberIn<std::int64_t>(value);
    return number ? std::optional(digits(*number)) : std::nullopt;
  }
  case ParameterType::number: {
    const auto number = numberIn<double>(value);
    return number && std::isfinite(*number) ? std::optional(digits(*number)) : std::nullopt;
  }
  case ParameterType::day:
    return isDay(value) ? std::optional(fmt::format("toDate('{}')", value)) : std::nullopt;
  }
  return std::nullopt;
}

// Reads a parameter such as "least integer = 100: words".
Parameter readParameter(const Question& question, const query::HeaderEntry& entry) {
  constexpr const char* form = "a parameter is 'name type: words' or 'name type = value: words'";
  Parameter parameter;
  parameter.line = entry.line;
  const std::string_view text = entry.text;
  const std::size_t colon = text.find(": ");
  if (colon == std::string_view::npos) {
    fail(question, entry.line, form);
  }
  parameter.about = query::trimmed(text.substr(colon + 1));
  std::string_view before = text.substr(0, colon);
  if (const std::size_t equals = before.find('='); equals != std::string_view::npos) {
    parameter.usual = query::trimmed(before.substr(equals + 1));
    before = before.substr(0, equals);
  }
  before = query::trimmed(before);
  const std::size_t blank = before.find(' ');
  if (blank == std::string_view::npos) {
    fail(question, entry.line, form);
  }
  parameter.name = before.substr(0, blank);
  const std::string_view type = query::trimmed(before.substr(blank));
  const auto known = std::find(typeNames.begin(), typeNames.end(), type);
  if (known == typeNames.end()) {
    fail(question, entry.line, fmt::format("the type of a parameter is one of {}", fmt::join(typeNames, ", ")));
  }
  parameter.type = static_cast<ParameterType>(known - typeNames.begin());
  if (!isName(parameter.name)) {
    fail(question, entry.line, "the name of a parameter has lower-case letters, digits, '-' and '_'");
  }
  if (parameter.usual && !literal(parameter.type, *parameter.usual)) {
    fail(question, entry.line, fmt::format("the value of '{}' is not of the type {}", parameter.name, *known));
  }
  return parameter;
}

// Divides the SQL into parts that stay and names of parameters. A '{' in a text, quoted name or comment is not a
// parameter.
class Pieces {
public:
  explicit Pieces(const Question& question) : question_(question), sql_(question.sql) {}

  void forEach(const std::function<void(std::string_view)>& part,
               const std::function<void(std::string_view, std::size_t line)>& name) {
    std::size_t begin = 0;
    for (std::size_t at = 0; at < sql_.size();) {
      const std::size_t next = after(at);
      if (sql_[at] == '{') {
        part(sql_.substr(begin, at - begin));
        name(sql_.substr(at + 1, next - at - 2), line(at));
        begin = next;
      }
      at = next;
    }
    part(sql_.substr(begin));
  }

private:
  std::size_t line(std::size_t at) const {
    return static_cast<std::size_t>(std::count(sql_.begin(), sql_.begin() + static_cast<std::ptrdiff_t>(at), '\n')) + 1;
  }

  // The end of the token that begins at `at`.
  std::size_t after(std::size_t at) const {
    const char first = sql_[at];
    const std::string_view rest = sql_.substr(at);
    if (first == '\'' || first == '"' || first == '`') {
      return afterQuoted(at, first);
    }
    if (rest.starts_with("--")) {
      return std::min(sql_.find('\n', at), sql_.size());
    }
    if (rest.starts_with("/*")) {
      return endOf("*/", at + 2, "a comment without its end");
    }
    return first == '{' ? endOf("}", at, "a '{' without its '}'") : at + 1;
  }

  std::size_t afterQuoted(std::size_t begin, char quote) const {
    for (std::size_t at = begin + 1; at < sql_.size(); ++at) {
      if (sql_[at] == '\\') {
        ++at;
      } else if (sql_[at] == quote) {
        return at + 1;
      }
    }
    fail(question_, line(begin), fmt::format("a {} without its end", quote));
  }

  std::size_t endOf(std::string_view end, std::size_t begin, const char* cause) const {
    const std::size_t found = sql_.find(end, begin);
    if (found == std::string_view::npos) {
      fail(question_, line(begin), cause);
    }
    return found + end.size();
  }

  const Question& question_;
  const std::string_view sql_;
};

const Parameter* parameterNamed(const Question& question, std::string_view name) {
  const auto found = std::find_if(question.parameters.begin(), question.parameters.end(),
                                  [&](const Parameter& each) { return each.name == name; });
  return found == question.parameters.end() ? nullptr : &*found;
}

void checkParameters(const Question& question) {
  std::vector<std::string> used;
  Pieces(question).forEach([](std::string_view) {},
                           [&](std::string_view name, std::size_t line) {
                             if (!isName(name)) {
                               fail(question, line, "what follows '{' is not the name of a parameter");
                             }
                             if (parameterNamed(question, name) == nullptr) {
                               fail(question, line, fmt::format("'{{{}}}' is not a parameter in the header", name));
                             }
                             used.emplace_back(name);
                           });
  for (const Parameter& each : question.parameters) {
    if (parameterNamed(question, each.name) != &each) {
      fail(question, each.line, fmt::format("the parameter '{}' is there twice", each.name));
    }
    if (std::find(used.begin(), used.end(), each.name) == used.end()) {
      fail(question, each.line, fmt::format("the SQL does not use the parameter '{}'", each.name));
    }
  }
}

void requireLength(const Question& question, const std::string& content) {
  if (content.size() > longestQuestion) {
    throw Error(fmt::format("{}: longer than the {} bytes that a question may have", question.file, longestQuestion));
  }
}

} // namespace

const char* parameterTypeName(ParameterType type) {
  return typeNames[static_cast<std::size_t>(type)];
}

Question readQuestion(std::string content, const std::string& file) {
  Question question;
  question.file = file;
  question.name = std::filesystem::path(file).stem().string();
  requireLength(question, content);
  const query::HeaderKeys expected{keyNames, requiredKeys, repeatedKeys, "a question", "docs/velstat-fleet.md"};
  std::vector<query::HeaderEntry> header;
  try {
    header = query::readHeader(content, file, expected);
  } catch (const query::Error& error) {
    throw Error(error.what());
  }
  for (query::HeaderEntry& entry : header) {
    if (entry.text.empty()) {
      fail(question, entry.line, fmt::format("'{}' says nothing", keyNames[entry.key]));
    }
    switch (entry.key) {
    case title:
      question.title = std::move(entry.text);
      break;
    case explanation:
      question.explanation = std::move(entry.text);
      break;
    case parameter:
      question.parameters.push_back(readParameter(question, entry));
      break;
    case columns:
      for (std::size_t begin = 0; begin <= entry.text.size();) {
        const std::size_t end = std::min(entry.text.find(',', begin), entry.text.size());
        question.columns.emplace_back(query::trimmed(std::string_view(entry.text).substr(begin, end - begin)));
        begin = end + 1;
      }
      break;
    }
  }
  question.sql = std::move(content);
  checkParameters(question);
  return question;
}

Question readOwnSql(std::string content, const std::string& file) {
  if (content.starts_with("-- title:")) {
    return readQuestion(std::move(content), file);
  }
  Question question;
  question.file = file;
  question.name = std::filesystem::path(file).stem().string();
  requireLength(question, content);
  question.sql = std::move(content);
  return question;
}

const std::vector<Question>& shippedQuestions() {
  static const std::vector<Question> questions = [] {
    std::vector<Question> read;
    for (const auto& [name, content] : embeddedQuestions) {
      read.push_back(readQuestion(std::string(content), std::string(name)));
    }
    return read;
  }();
  return questions;
}

const Question& shippedQuestion(std::string_view name) {
  std::vector<std::string_view> names;
  for (const Question& question : shippedQuestions()) {
    if (question.name == name) {
      return question;
    }
    names.push_back(question.name);
  }
  const auto nearest = formats::nearestName(name, names);
  throw Error(
      fmt::format("there is no question '{}'; {}", name.substr(0, 80),
                  nearest ? fmt::format("did you mean '{}'?", *nearest) : "velstat fleet ask --list shows all"));
}

std::string bound(const Question& question, const Values& values) {
  for (const auto& [name, value] : values) {
    if (parameterNamed(question, name) == nullptr) {
      std::vector<std::string_view> names;
      for (const Parameter& each : question.parameters) {
        names.push_back(each.name);
      }
      const auto nearest = formats::nearestName(name, names);
      throw Error(fmt::format("{}: there is no parameter '{}'{}", question.name, name.substr(0, 80),
                              nearest         ? fmt::format("; did you mean '{}'?", *nearest)
                              : names.empty() ? "; it has none"
                                              : fmt::format("; it has {}", fmt::join(names, ", "))));
    }
  }
  if (question.parameters.empty()) { // SQL without a header may contain any '{'
    return question.sql;
  }
  std::string sql;
  Pieces(question).forEach([&](std::string_view part) { sql += part; },
                           [&](std::string_view name, std::size_t) {
                             const Parameter& wanted = *parameterNamed(question, name);
                             const auto given = values.find(name);
                             if (given == values.end() && !wanted.usual) {
                               throw Error(fmt::format("{}: --{} is missing: {}", question.name, name, wanted.about));
                             }
                             const std::string& value = given == values.end() ? *wanted.usual : given->second;
                             const auto text = literal(wanted.type, value);
                             if (!text) {
                               throw Error(fmt::format("{}: --{}: '{}' is not of the type {}", question.name, name,
                                                       value.substr(0, 80), parameterTypeName(wanted.type)));
                             }
                             sql += *text;
                           });
  return sql;
}

} // namespace vel::fleet
