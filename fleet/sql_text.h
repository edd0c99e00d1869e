// Values and names as ClickHouse's SQL.
#pragma once

#include <string>
#include <string_view>

namespace vel::fleet {

// 'text', with everything escaped that could end it.
std::string textLiteral(std::string_view text);
// `name`. Throws Error unless it consists of letters, digits and '_', and does not begin with a digit.
std::string identifier(std::string_view name);

} // namespace vel::fleet
