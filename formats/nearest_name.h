// The known name that a misspelt one was probably meant to be.
#pragma once

#include <optional>
#include <span>
#include <string_view>

namespace vel::formats {

// The name that takes the fewest changed, added or left-out characters; nothing if even that one is far off, or if the
// word is longer than anybody would type.
std::optional<std::string_view> nearestName(std::string_view word, std::span<const std::string_view> names);

} // namespace vel::formats
