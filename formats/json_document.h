// Parses untrusted JSON documents, and names places in them for error lines.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include <string>
#include <string_view>

namespace vel::formats {

// Only declared here, because <nlohmann/json.hpp> takes seconds to compile; code that uses documents includes it.
using Json = nlohmann::ordered_json;

// Limits far above any real document's size. They bound time, memory and stack for hostile input.
constexpr std::size_t maximumValues = 1 << 18;
constexpr std::size_t maximumNesting = 128;

// Parses a document. Throws Error with line and column for a syntax error; with a JSON pointer for a key that appears
// twice in one object, a number too large for any type, and anything beyond the limits.
Json parseJson(std::string_view text, const std::string& source);

// The JSON pointer of a part of a document: "" for the document itself. Long keys are cut.
std::string pointerTo(const Json& document, const Json& part);
[[noreturn]] void refuse(const std::string& source, const std::string& pointer, const std::string& reason);

// Untrusted text for an error line: quoted, and cut if it is long.
std::string inQuotes(std::string_view text);

} // namespace vel::formats
