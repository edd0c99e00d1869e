// Breaks lines at blanks, counting columns as a terminal does.
#include "velstat/text/wrap.h"

#include <velstat/text/escape.h>

#include <algorithm>

namespace vel::stat {

namespace {

// The length in bytes of a character and the escape sequences before it. These set colours, and take no column.
std::size_t characterLength(std::string_view text) {
  std::size_t length = 0;
  while (text.substr(length).starts_with("\x1B[")) {
    length = std::min(text.find('m', length), text.size() - 1) + 1;
  }
  if (length < text.size()) {
    length += decodeUTF8(text.substr(length)).length;
  }
  return length;
}

// The length of the escape sequences at the beginning of the text.
std::size_t sequencesLength(std::string_view text) {
  std::size_t length = 0;
  while (text.substr(length).starts_with("\x1B[")) {
    length = std::min(text.find('m', length), text.size() - 1) + 1;
  }
  return length;
}

// How many bytes are shown in `width` columns, with the escape sequences after them.
std::size_t bytesOf(std::string_view text, std::size_t width) {
  std::size_t bytes = 0;
  for (; width != 0 && bytes < text.size(); --width) {
    bytes += characterLength(text.substr(bytes));
  }
  return bytes + sequencesLength(text.substr(bytes));
}

std::size_t shownColumns(std::string_view text) {
  std::size_t count = 0;
  for (std::size_t bytes = sequencesLength(text); bytes < text.size(); ++count) {
    bytes += characterLength(text.substr(bytes));
    bytes += sequencesLength(text.substr(bytes));
  }
  return count;
}

// Where the last column of a table in this line begins: after the last two blanks in a row, within `most` columns. If
// there are no such blanks, `hanging` columns after the first character.
std::size_t lastColumn(std::string_view line, std::size_t most, std::size_t hanging) {
  std::size_t column = 0;
  std::size_t blanks = 0;
  std::size_t found = 0;
  bool begun = false;
  for (std::size_t bytes = sequencesLength(line); bytes < line.size() && column <= most; ++column) {
    const bool blank = line[bytes] == ' ';
    if (!blank && !begun) {
      begun = true;
      found = column + hanging;
    } else if (!blank && blanks >= 2) {
      found = column;
    }
    blanks = blank ? blanks + 1 : 0;
    bytes += characterLength(line.substr(bytes));
    bytes += sequencesLength(line.substr(bytes));
  }
  return std::min(found, most);
}

// Writes the text, whose first line begins at `column`.
void wrap(Sink& out, std::string_view text, std::size_t column, std::size_t indent, std::size_t width) {
  while (!text.empty()) {
    const std::size_t room = width - std::min(width - 1, column);
    std::size_t end = bytesOf(text, room);
    std::size_t next = end;
    if (end < text.size()) {
      // Breaks at a blank just after the line, or at the last blank in it.
      const std::size_t blank = text[end] == ' ' ? end : text.substr(0, end).rfind(' ');
      if (blank != std::string_view::npos && text.find_first_not_of(' ') < blank) {
        end = blank;
        next = std::min(text.find_first_not_of(' ', blank), text.size());
      }
      while (end > 0 && text[end - 1] == ' ') {
        --end;
      }
    }
    out += text.substr(0, end);
    text.remove_prefix(next);
    if (!text.empty()) {
      out += '\n';
      out.blanks(indent);
      column = indent;
    }
  }
}

} // namespace

void appendWrapped(Sink& out, std::string_view words, std::size_t indent, std::size_t width) {
  if (width == 0) {
    out += words;
  } else {
    wrap(out, words, indent, std::min(indent, width - 1), width);
  }
}

void WrappedLines::append(std::string_view text) {
  if (width_ == 0) {
    out_ += text;
    return;
  }
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    line_ += text.substr(0, end);
    if (end == std::string_view::npos) {
      return;
    }
    text.remove_prefix(end + 1);
    this->end();
  }
}

void WrappedLines::end() {
  if (line_.size() <= width_ || shownColumns(line_) <= width_) {
    out_ += line_;
  } else {
    wrap(out_, line_, 0, lastColumn(line_, width_ / 2, hanging_), width_);
  }
  out_ += '\n';
  line_.clear();
}

} // namespace vel::stat
