// Makes the texts of a line of the log, so that no message can steer a terminal that shows them.
#include "cf/encoding.h"
#include "services/log/sinks.h"
#include <control/printable.h>

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <string_view>

namespace vel::platform {
namespace {

// The UTF-8 sequence at the start of `text`; empty when there is none.
std::string_view sequenceAt(std::string_view text) {
  for (std::size_t length = 1; length <= 4 && length <= text.size(); ++length) {
    if (utf16Length(text.substr(0, length))) {
      return text.substr(0, length);
    }
  }
  return {};
}

// Of a valid sequence.
std::uint32_t codePointOf(std::string_view sequence) {
  const auto first = static_cast<unsigned char>(sequence.front());
  std::uint32_t value = sequence.size() == 1 ? first : first & (0x7FU >> sequence.size());
  for (const char c : sequence.substr(1)) {
    value = value << 6 | (static_cast<unsigned char>(c) & 0x3FU);
  }
  return value;
}

bool isPlain(char c) {
  return c >= 0x20 && c < 0x7F && c != '"' && c != '\\';
}

// Appends `text` with `escape` called for the characters that need it: with the code point, or with the byte when it is
// not part of valid UTF-8.
template <class EscapeCharacter, class EscapeByte>
void appendText(std::string& out, std::string_view text, EscapeCharacter escapeCharacter, EscapeByte escapeByte) {
  while (!text.empty()) {
    const auto* const plainEnd = std::find_if_not(text.begin(), text.end(), isPlain);
    out.append(text.begin(), plainEnd);
    text.remove_prefix(static_cast<std::size_t>(plainEnd - text.begin()));
    if (text.empty()) {
      return;
    }
    const std::string_view sequence = sequenceAt(text);
    if (sequence.empty()) {
      escapeByte(static_cast<unsigned char>(text.front()));
    } else if (!escapeCharacter(codePointOf(sequence))) {
      out += sequence;
    }
    text.remove_prefix(std::max<std::size_t>(sequence.size(), 1));
  }
}

void appendPlain(std::string& out, std::string_view text) {
  const auto escapeByte = [&](unsigned byte) { out += fmt::format("\\x{:02X}", byte); };
  const auto escapeCharacter = [&](std::uint32_t c) {
    if (c == '\t' || c == '\n' || control::isPrintable(c)) {
      return false;
    }
    if (c < 0x80) {
      escapeByte(c);
    } else {
      out += fmt::format("\\u{{{:X}}}", c);
    }
    return true;
  };
  appendText(out, text, escapeCharacter, escapeByte);
}

// What JSON has a letter for; 0 for other characters.
char jsonLetter(std::uint32_t c) {
  switch (c) {
  case '"':
  case '\\':
    return static_cast<char>(c);
  case '\b':
    return 'b';
  case '\f':
    return 'f';
  case '\n':
    return 'n';
  case '\r':
    return 'r';
  case '\t':
    return 't';
  default:
    return 0;
  }
}

void appendJson(std::string& out, std::string_view text) {
  const auto escapeByte = [&](unsigned byte) { out += fmt::format("\\\\x{:02X}", byte); };
  const auto escapeCharacter = [&](std::uint32_t c) {
    if (const char letter = jsonLetter(c); letter != 0) {
      out += '\\';
      out += letter;
      return true;
    }
    if (control::isPrintable(c)) {
      return false;
    }
    if (c >= 0x10000) { // two halves
      out += fmt::format("\\u{:04x}", 0xD7C0 + (c >> 10));
      c = 0xDC00 + (c & 0x3FF);
    }
    out += fmt::format("\\u{:04x}", c);
    return true;
  };
  appendText(out, text, escapeCharacter, escapeByte);
}

// Lines come many a second: its text is made once.
const std::string& secondText(std::chrono::sys_seconds second) {
  thread_local std::chrono::sys_seconds last;
  thread_local std::string text;
  if (text.empty() || second != last) {
    last = second;
    text = fmt::format("{:%Y-%m-%dT%H:%M:%S}", fmt::gmtime(second.time_since_epoch().count()));
  }
  return text;
}

} // namespace

std::string plainLine(const control::LogLine& line) {
  std::string_view message = line.message;
  if (message.ends_with('\n')) {
    message.remove_suffix(1);
  }
  std::string text = control::logLevelName(line.type);
  for (const auto& [before, part] : {std::pair(" ", std::string_view(line.subsystem)),
                                     std::pair(":", std::string_view(line.category)), std::pair(": ", message)}) {
    text += before;
    appendPlain(text, part);
  }
  return text;
}

} // namespace vel::platform

namespace vel::control {

std::string logLineJson(const LogLine& line) {
  using namespace std::chrono;
  const sys_time<microseconds> time{microseconds(line.time)};
  const auto second = floor<seconds>(time);
  std::string out = fmt::format(R"({{"time":"{}.{:06}Z","level":"{}","subsystem":")", platform::secondText(second),
                                (time - second).count(), logLevelName(line.type));
  platform::appendJson(out, line.subsystem);
  out += R"(","category":")";
  platform::appendJson(out, line.category);
  out += R"(","message":")";
  platform::appendJson(out, line.message);
  return out + "\"}";
}

} // namespace vel::control
