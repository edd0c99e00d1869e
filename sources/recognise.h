// Recognises an input by its first bytes.
#pragma once

#include <sources/source.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vel::sources {

// How many bytes of the beginning are needed to recognise an input that has as many.
constexpr std::size_t recognisedHead = 1 << 14;

// The type of a state record with a property list.
constexpr std::string_view stateRecordBeginning("\x01\0\0\0", 4);

struct Recognised {
  Kind kind = Kind::unknown;
  std::string refusal; // what it is instead; empty unless the kind is unknown
};

// `head` is the beginning of the input, or all of it if `whole` is true. Raw records have no magic number: input that
// is neither text nor of another known kind is taken for raw records. [any thread]
Recognised recognise(std::string_view head, bool whole, std::optional<std::uint64_t> size);

// Whether the bytes are text such as a log, which may contain some bytes of records.
bool isText(std::string_view bytes);

} // namespace vel::sources
