// Quotes, backslashes and control characters are escaped, so that no value can end its literal or hide in a log.
#include "fleet/sql_text.h"

#include <fleet/error.h>

#include <fmt/format.h>

#include <algorithm>

namespace vel::fleet {

namespace {

bool isLetter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}
bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

} // namespace

std::string textLiteral(std::string_view text) {
  std::string literal = "'";
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (character == '\'' || character == '\\') {
      literal += '\\';
      literal += character;
    } else if (byte < ' ' || byte == 0x7f) {
      literal += fmt::format("\\x{:02X}", byte);
    } else {
      literal += character;
    }
  }
  return literal + '\'';
}

std::string identifier(std::string_view name) {
  constexpr std::size_t longest = 200;
  const bool isGood = !name.empty() && name.size() <= longest && isLetter(name.front()) &&
                      std::all_of(name.begin(), name.end(), [](char c) { return isLetter(c) || isDigit(c); });
  if (!isGood) {
    throw Error(fmt::format("'{}' is not a name in SQL: letters, digits and '_'", name.substr(0, longest)));
  }
  return fmt::format("`{}`", name);
}

} // namespace vel::fleet
