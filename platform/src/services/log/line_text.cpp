// Makes the texts of a line of the log, so that no message can steer a terminal that shows them.
#include "cf/printable.h"
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

// The letter of JSON's short escape for a character; 0 if it has none.
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
  const auto isPlain = [](char c) { return c >= 0x20 && c < 0x7F && c != '"' && c != '\\'; };
  while (!text.empty()) {
    const auto* const plainEnd = std::find_if_not(text.begin(), text.end(), isPlain);
    if (plainEnd != text.begin()) {
      out.append(text.begin(), plainEnd);
      text.remove_prefix(static_cast<std::size_t>(plainEnd - text.begin()));
      continue;
    }
    const Character c = firstCharacter(text);
    if (!c.valid) {
      out += fmt::format("\\\\x{:02X}", c.value);
    } else if (const char letter = jsonLetter(c.value); letter != 0) {
      out += '\\';
      out += letter;
    } else if (control::isPrintable(c.value)) {
      out += text.substr(0, c.length);
    } else if (c.value < 0x10000) {
      out += fmt::format("\\u{:04x}", c.value);
    } else { // a surrogate pair
      out += fmt::format("\\u{:04x}\\u{:04x}", 0xD7C0 + (c.value >> 10), 0xDC00 + (c.value & 0x3FF));
    }
    text.remove_prefix(c.length);
  }
}

// Keeps the text of the last second, because many lines are written in one second.
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
  return printable(
      fmt::format("{} {}:{}: {}", control::logLevelName(line.type), line.subsystem, line.category, message));
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
