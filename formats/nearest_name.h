// Matches names as people type them: in upper or lower case, and misspelt.
#pragma once

#include <optional>
#include <span>
#include <string_view>

namespace vel::formats {

// Whether the two are equal if the case of ASCII letters is ignored.
bool equalIgnoringCase(std::string_view a, std::string_view b);

// The name that differs from the word by the fewest changed, added, missing or swapped characters, ignoring the case of
// ASCII letters. Nothing if even that name is too different, or if the word is empty or implausibly long.
std::optional<std::string_view> nearestName(std::string_view word, std::span<const std::string_view> names);

} // namespace vel::formats
