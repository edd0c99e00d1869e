// Checks only the tags. Skips comments, CDATA sections and processing instructions as the parser does.
#include "formats/xml_limits.h"

#include <formats/property_list.h>

#include <fmt/format.h>

namespace vel::formats {

namespace {

// The position after the next `ending`, or the end of the text if there is none.
std::size_t after(std::string_view text, std::size_t from, std::string_view ending) {
  const std::size_t found = text.find(ending, from);
  return found == std::string_view::npos ? text.size() : found + ending.size();
}

// Refuses declarations: they could define entities, which grow when they are expanded.
std::size_t afterDeclaration(std::string_view text, std::size_t at) {
  const std::size_t end = after(text, at, ">");
  if (text.substr(at, end - at).find('[') != std::string_view::npos) {
    throw PropertyListError(fmt::format("offset {}: declarations inside <!DOCTYPE are not read", at));
  }
  return end;
}

} // namespace

void checkXMLLimits(std::string_view text) {
  // The <plist> element and the innermost value add a level each.
  constexpr std::size_t deepest = std::size_t{maximumDepth} + 2;
  if (text.size() > longestXML) {
    throw PropertyListError(fmt::format("property list too long: more than {} bytes of XML", longestXML));
  }
  std::size_t depth = 0;
  std::size_t elements = 0;
  for (std::size_t at = text.find('<'); at < text.size(); at = text.find('<', at)) {
    const std::string_view tag = text.substr(at);
    if (tag.starts_with("<!--")) {
      at = after(text, at + 4, "-->");
    } else if (tag.starts_with("<![CDATA[")) {
      at = after(text, at, "]]>");
    } else if (tag.starts_with("<?")) {
      at = after(text, at, "?>");
    } else if (tag.starts_with("<!")) {
      at = afterDeclaration(text, at);
    } else if (tag.starts_with("</")) {
      depth -= depth > 0 ? 1 : 0;
      at += 2;
    } else {
      if (++elements > mostXMLElements) {
        throw PropertyListError(fmt::format("property list with more than {} elements", mostXMLElements));
      }
      const std::size_t end = after(text, at, ">");
      const bool closed = end >= 2 && text[end - 1] == '>' && text[end - 2] == '/';
      if (!closed && ++depth > deepest) {
        throw PropertyListError("property list nested too deep");
      }
      at = end;
    }
  }
}

} // namespace vel::formats
