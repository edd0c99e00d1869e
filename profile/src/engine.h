// The engine's parts, in the order in which a text shows them. Each writes at `p` and returns the end. text_capacity
// bounds a whole text, with names from our own tables and with what a part may touch beyond its end.
#pragma once

#include "choice.h"

#include <string_view>

namespace vel::profile {

// From the opening brace to "sequence_num", with names read from the tables of the record's category.
char* write_head(char* p, const unsigned char* record) noexcept;

// The same with names as given, of any length. Takes less than text_capacity as long as they have no more than
// ample_names bytes together.
struct HeadNames {
  std::string_view category;
  std::string_view component;
  std::string_view event;
  std::string_view type;

  std::size_t size() const noexcept { return category.size() + component.size() + event.size() + type.size(); }
};
inline constexpr std::size_t ample_names = 256;
char* write_head(char* p, const unsigned char* record, const HeadNames& names) noexcept;

// The payload, by the rules and with the names of a category, which need not be the record's.
char* write_payload(char* p, const unsigned char* record, unsigned category) noexcept;

// Where a choice's layouts show a subtype: the offset of its id; 0 if they show none.
std::size_t subtype_offset(Choice choice) noexcept;

// The payload of a choice that shows a subtype, with the subtype's name as given, of any length. Takes less than
// text_capacity as long as it has no more than ample_names bytes.
char* write_payload(char* p, const unsigned char* record, Choice choice, std::string_view subtype) noexcept;

// From "type-id" to the end of the byte dump.
char* write_tail(char* p, const unsigned char* record) noexcept;

// ", 'calendar-time':'<wall>'" and ", 'boot-timestamp':<boot>".
char* write_calendar(char* p, std::string_view wall) noexcept;
char* write_boot(char* p, std::uint64_t boot) noexcept;

} // namespace vel::profile
