// A JSON document from a stranger, and how error lines name a place in it.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include <string>
#include <string_view>

namespace vel::formats {

// Only named here: whoever reads or writes one includes <nlohmann/json.hpp>, which takes a compiler seconds.
using Json = nlohmann::ordered_json;

// Far beyond any device's; they bound time, memory and stack for a file that nobody meant well.
constexpr std::size_t maximumValues = 1 << 18;
constexpr std::size_t maximumNesting = 128;

// Parses a document. Throws Error with line and column of what is no JSON, with a JSON pointer for a key that stands
// twice in one object, a number that no type holds, and what goes beyond the limits.
Json parseJson(std::string_view text, const std::string& source);

// The JSON pointer of a part of a document: "" for the document itself. Long keys are cut.
std::string pointerTo(const Json& document, const Json& part);
[[noreturn]] void refuse(const std::string& source, const std::string& pointer, const std::string& reason);

// Text of a stranger for an error line: in quotes, and cut when it is long.
std::string inQuotes(std::string_view text);

} // namespace vel::formats
