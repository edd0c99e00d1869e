// Parses one line at a time: the columns' names, their types, then the rows.
#include "fleet/answer.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <utility>

namespace vel::fleet {

namespace {

constexpr std::size_t longestLine = std::size_t{64} << 20;
constexpr std::size_t mostColumns = 10'000;

[[noreturn]] void fail(const char* cause) {
  throw Error(fmt::format("the server's answer is not in the format {}: {}", answerFormat, cause));
}

template <class Take>
void splitAtTabs(std::string_view line, Take take) {
  for (std::size_t begin = 0; begin <= line.size();) {
    const std::size_t end = std::min(line.find('\t', begin), line.size());
    take(line.substr(begin, end - begin));
    begin = end + 1;
  }
}

char meaningOf(char escaped) {
  constexpr std::array<std::pair<char, char>, 9> meanings = {{{'b', '\b'},
                                                              {'f', '\f'},
                                                              {'r', '\r'},
                                                              {'n', '\n'},
                                                              {'t', '\t'},
                                                              {'0', '\0'},
                                                              {'a', '\a'},
                                                              {'v', '\v'},
                                                              {'e', '\x1b'}}};
  const auto found = std::find_if(meanings.begin(), meanings.end(), [&](auto& each) { return each.first == escaped; });
  return found == meanings.end() ? escaped : found->second;
}

void appendUnescaped(std::string& out, std::string_view text) {
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] != '\\') {
      out += text[at];
    } else if (++at == text.size()) {
      fail("an escape without its character");
    } else {
      out += meaningOf(text[at]);
    }
  }
}

} // namespace

ValueKind kindOfType(std::string_view type) {
  constexpr std::string_view nullable = "Nullable(";
  if (type.starts_with(nullable)) {
    type.remove_prefix(nullable.size());
  }
  if (type.starts_with("Int") || type.starts_with("UInt")) {
    return type.find("erval") == std::string_view::npos ? ValueKind::integer : ValueKind::text;
  }
  return type.starts_with("Float")         ? ValueKind::real
         : type.starts_with("FixedString") ? ValueKind::bytes
                                           : ValueKind::text;
}

void AnswerReader::take(std::string_view piece) {
  while (!piece.empty()) {
    const std::size_t end = piece.find('\n');
    const std::string_view part = piece.substr(0, end);
    if (part.size() > longestLine - rest_.size()) {
      fail("a line is too long");
    }
    if (end == std::string_view::npos) {
      rest_ += part;
      return;
    }
    piece.remove_prefix(end + 1);
    if (rest_.empty()) {
      line(part);
    } else {
      rest_ += part;
      line(rest_);
      rest_.clear();
    }
  }
}

void AnswerReader::end() {
  if (!rest_.empty()) {
    fail("its last line has no end");
  }
  constexpr std::size_t header = 2;
  if (lines_ < header) {
    fail("it has no names and types");
  }
}

void AnswerReader::line(std::string_view text) {
  const std::size_t number = lines_++;
  if (number > 1) {
    row(text);
    return;
  }
  std::size_t column = 0;
  splitAtTabs(text, [&](std::string_view word) {
    std::string word_;
    appendUnescaped(word_, word);
    if (number == 0) {
      if (columns_.size() == mostColumns) {
        fail("too many columns");
      }
      columns_.push_back({std::move(word_), {}, {}});
    } else if (column == columns_.size()) {
      fail("more types than names");
    } else {
      columns_[column].kind = kindOfType(word_);
      columns_[column].type = std::move(word_);
    }
    ++column;
  });
  if (number == 1) {
    if (column != columns_.size()) {
      fail("fewer types than names");
    }
    onColumns_(columns_);
  }
}

void AnswerReader::row(std::string_view text) {
  cells_.clear();
  unescaped_.clear();
  unescaped_.reserve(text.size()); // cells point into it
  splitAtTabs(text, [&](std::string_view word) {
    if (cells_.size() == columns_.size()) {
      fail("a row has too many values");
    }
    if (word == "\\N") {
      cells_.push_back({true, {}});
      return;
    }
    const std::size_t begin = unescaped_.size();
    appendUnescaped(unescaped_, word);
    cells_.push_back({false, std::string_view(unescaped_).substr(begin)});
  });
  if (cells_.size() != columns_.size()) {
    fail("a row has too few values");
  }
  onRow_(cells_);
}

} // namespace vel::fleet
