// Tells what an input is from its first bytes.
#pragma once

#include <sources/source.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vel::sources {

// As many first bytes as decide, if the input has them.
constexpr std::size_t recognisedHead = 1 << 14;

struct Recognised {
  Kind kind = Kind::unknown;
  std::string refusal; // what it is instead; empty unless the kind is unknown
};

// `head` is the beginning of the input, and all of it if `whole`. Raw records have no magic number: whatever is neither
// text nor of another known kind is taken for them. [any thread]
Recognised recognise(std::string_view head, bool whole, std::optional<std::uint64_t> size);

// Whether bytes are text, as logs are, of which some records' bytes may be part.
bool isText(std::string_view bytes);

} // namespace vel::sources
