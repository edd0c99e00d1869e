// The parts of a text, in order. Each function writes at `p` and returns the end of what it wrote; it may write beyond
// that, but all parts together fit in text_capacity as long as the names are from our tables.
#pragma once

#include "choice.h"

#include <string_view>

namespace vel::profile {

// From the opening brace to "sequence_num", with the names of the record's category.
char* write_head(char* p, const unsigned char* record) noexcept;

// The same with given names, of any length, which take room beyond text_capacity.
struct HeadNames {
  std::string_view category;
  std::string_view component;
  std::string_view event;
  std::string_view type;

  std::size_t size() const noexcept { return category.size() + component.size() + event.size() + type.size(); }
};
char* write_head(char* p, const unsigned char* record, const HeadNames& names) noexcept;

// The payload, by the rules and with the names of a category, which need not be the record's.
char* write_payload(char* p, const unsigned char* record, unsigned category) noexcept;

// The offset of the subtype's id that a choice's layouts show; 0 if they show none.
std::size_t subtype_offset(Choice choice) noexcept;

// The payload of a choice that shows a subtype, with a given name for it, of any length, which takes room beyond
// text_capacity.
char* write_payload(char* p, const unsigned char* record, Choice choice, std::string_view subtype) noexcept;

// From "type-id" to the end of the byte dump.
char* write_tail(char* p, const unsigned char* record) noexcept;

// ", 'calendar-time':'<wall>'" and ", 'boot-timestamp':<boot>".
char* write_calendar(char* p, std::string_view wall) noexcept;
char* write_boot(char* p, std::uint64_t boot) noexcept;

} // namespace vel::profile
