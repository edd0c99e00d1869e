// Names as people type them: without regard to the case of ASCII letters, and misspelt.
#pragma once

#include <optional>
#include <span>
#include <string_view>

namespace vel::formats {

// Equal but for the case of ASCII letters.
bool equalIgnoringCase(std::string_view a, std::string_view b);

// The name that takes the fewest changed, added, left-out or swapped characters, the case of letters aside; nothing if
// even that one is far off, or if the word is empty or longer than anybody would type.
std::optional<std::string_view> nearestName(std::string_view word, std::span<const std::string_view> names);

} // namespace vel::formats
