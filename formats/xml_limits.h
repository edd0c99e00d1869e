// Limits that are checked before a library parses an XML property list: size, elements, nesting and declarations.
#pragma once

#include <cstddef>
#include <string_view>

namespace vel::formats {

inline constexpr std::size_t longestXML = std::size_t{16} << 20;
inline constexpr std::size_t mostXMLElements = std::size_t{1} << 20;

// Throws PropertyListError with offset and cause for text that is too long, has too many elements, nests them too deep,
// or declares anything in its DOCTYPE. All other errors are left to the parser.
void checkXMLLimits(std::string_view text);

} // namespace vel::formats
