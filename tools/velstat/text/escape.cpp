// Escapes control characters and invalid UTF-8, and measures text in columns.
#include "velstat/text/escape.h"

#include <control/printable.h>

#include <fmt/format.h>

#include <algorithm>
#include <vector>

namespace vel::stat {

namespace {

// The escape of a character; empty for a character that is shown as it is.
std::string escapeOf(const CodePoint& point) {
  if (point.valid && point.value == '\\') {
    return "\\\\";
  }
  if (point.valid && point.value == '\n') {
    return "\\n";
  }
  if (point.valid && point.value == '\t') {
    return "\\t";
  }
  if (!point.valid || point.value == 0x7F || point.value < 0x20) {
    return fmt::format("\\x{:02X}", point.value);
  }
  return control::isPrintable(point.value) ? std::string() : fmt::format("\\u{{{:X}}}", point.value);
}

bool isContinuation(char c) {
  return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

std::vector<std::string> escapedCharacters(std::string_view text) {
  std::vector<std::string> characters;
  while (!text.empty()) {
    const std::size_t length = decodeUTF8(text).length;
    characters.push_back(escape(text.substr(0, length)));
    text.remove_prefix(length);
  }
  return characters;
}

// The characters at the beginning or the end of a text that fit in `width` columns when escaped. A character has at
// most four bytes.
std::string escapedBeginning(std::string_view text, std::size_t width) {
  std::string beginning;
  for (const std::string& character : escapedCharacters(text.substr(0, 4 * width))) {
    width -= std::min(width, columns(character));
    if (width == 0) {
      break;
    }
    beginning += character;
  }
  return beginning;
}
std::string escapedEnd(std::string_view text, std::size_t width) {
  text.remove_prefix(text.size() - std::min(text.size(), 4 * width));
  for (int i = 0; i < 3 && !text.empty() && isContinuation(text.front()); ++i) {
    text.remove_prefix(1); // the rest of a character that begins earlier
  }
  std::string end;
  const std::vector<std::string> characters = escapedCharacters(text);
  for (auto character = characters.rbegin(); character != characters.rend(); ++character) {
    width -= std::min(width, columns(*character));
    if (width == 0) {
      break;
    }
    end.insert(0, *character);
  }
  return end;
}

} // namespace

CodePoint decodeUTF8(std::string_view bytes) {
  const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(bytes[i]); };
  const std::uint8_t first = byte(0);
  if (first < 0x80) {
    return {first, 1, true};
  }
  const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  const CodePoint invalid = {first, 1, false};
  if (first < 0xC2 || first > 0xF4 || bytes.size() < length) {
    return invalid;
  }
  std::uint32_t value = first & (0x7FU >> length);
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) {
      return invalid;
    }
    value = value << 6 | (byte(i) & 0x3FU);
  }
  const std::uint32_t least = length == 4 ? 0x10000 : length == 3 ? 0x800 : 0x80;
  const bool surrogate = value >= 0xD800 && value < 0xE000;
  if (value < least || value > 0x10FFFF || surrogate) {
    return invalid;
  }
  return {value, length, true};
}

std::size_t plainLength(std::string_view text, char except, char orExcept) {
  const auto* const end = std::find_if(text.begin(), text.end(),
                                       [=](char c) { return c < 0x20 || c >= 0x7F || c == except || c == orExcept; });
  return static_cast<std::size_t>(end - text.begin());
}

void appendEscaped(Sink& out, std::string_view text) {
  while (!text.empty()) {
    if (const std::size_t plain = plainLength(text, '\\', '\\'); plain != 0) {
      out += text.substr(0, plain);
      text.remove_prefix(plain);
      continue;
    }
    const CodePoint point = decodeUTF8(text);
    const std::string escaped = escapeOf(point);
    out += escaped.empty() ? text.substr(0, point.length) : escaped;
    text.remove_prefix(point.length);
  }
}

std::string escape(std::string_view text) {
  StringSink out;
  appendEscaped(out, text);
  return out.take();
}

std::string escapeKey(std::string_view key) {
  constexpr std::size_t beginning = 41; // in columns, exclusive
  constexpr std::size_t end = 21;
  constexpr std::size_t longest = 4 * widestKey; // a longer key cannot fit
  if (key.size() <= longest) {
    std::string whole = escape(key);
    if (columns(whole) <= widestKey) {
      return whole;
    }
  }
  return fmt::format("{}…{} ({} bytes)", escapedBeginning(key, beginning), escapedEnd(key, end), key.size());
}

std::size_t columns(std::string_view text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) { return !isContinuation(c); }));
}

} // namespace vel::stat
