// The C interface: each function calls the renderer, the fields or the names.
#include "choice.h"
#include "profile/fields.h"
#include "profile/render.h"
#include "profile/velprofile.h"

#include <algorithm>
#include <cstring>

using namespace vel::profile;

static_assert(VEL_PROFILE_RECORD_SIZE == sizeof(_VelProfileReport));
static_assert(VEL_PROFILE_TEXT_CAPACITY == frame_capacity);
static_assert(VEL_PROFILE_NUMBER == int(FieldKind::number));
static_assert(VEL_PROFILE_CONSTANT == int(FieldKind::constant));
static_assert(VEL_PROFILE_QUOTED_NUMBER == int(FieldKind::quoted_number));
static_assert(VEL_PROFILE_TEXT == int(FieldKind::text));
static_assert(VEL_PROFILE_SUBTYPE_NAME == int(FieldKind::subtype_name));
static_assert(VEL_PROFILE_BYTES == int(FieldKind::bytes));
static_assert(VEL_PROFILE_SLICED_BYTES == int(FieldKind::sliced_bytes));
static_assert(VEL_PROFILE_CHARACTER == int(FieldKind::character));
static_assert(VEL_PROFILE_FIXED_POINT == int(FieldKind::fixed_point));

namespace {

TimePolicy policy(const vel_profile_times* times) {
  TimePolicy result;
  if (times != nullptr && (times->flags & VEL_PROFILE_CALENDAR) != 0) {
    result.sync = TimeSync{times->vel, times->calendar};
  }
  if (times != nullptr && (times->flags & VEL_PROFILE_BOOT) != 0) {
    result.boot = times->boot;
  }
  return result;
}

std::size_t copy_out(std::string_view text, char* out, std::size_t capacity) {
  if (text.size() < capacity) {
    std::memcpy(out, text.data(), text.size());
    out[text.size()] = '\0';
  }
  return text.size();
}

std::size_t copy_name(NameTable table, std::uint32_t id, char* out, std::size_t capacity) {
  DecimalText digits;
  return copy_out(name_of(table, id, digits), out, capacity);
}

constexpr std::size_t most_fields = greatest_choice([](const ShownLayouts& shown) {
  std::size_t fields = 0;
  for (const Layout* const layout : shown) {
    fields += layout->rows.size();
  }
  return fields;
});
static_assert(most_fields <= VEL_PROFILE_FIELD_CAPACITY);

constexpr std::size_t longest_bytes() {
  std::size_t longest = 0;
  for (const Layout& layout : layouts::all) {
    for (const Row& row : layout.rows) {
      longest = std::max<std::size_t>(longest, row.size);
    }
  }
  for (const Category& category : category_table) {
    for (const ComponentNames& subtypes : category.subtypes) {
      for (const NameRow& row : subtypes.names) {
        longest = std::max(longest, std::string_view(row.name).size());
      }
    }
  }
  return longest;
}
static_assert(longest_bytes() <= sizeof(vel_profile_field::bytes));

} // namespace

size_t vel_profile_render(const void* record, const vel_profile_times* times, char* out, size_t capacity) {
  char text[frame_capacity];
  BulkRenderer renderer(policy(times), Framing::none);
  return copy_out({text, renderer.render(record, 1, text)}, out, capacity);
}

size_t vel_profile_render_many(const void* records, size_t count, const vel_profile_times* times, char* out,
                               size_t capacity, size_t* length, size_t* ends) {
  BulkRenderer renderer(policy(times), Framing::newline);
  const std::size_t fitting = std::min(count, capacity / frame_capacity);
  if (ends == nullptr) {
    *length = renderer.render(records, fitting, out);
    return fitting;
  }
  const unsigned char* record = static_cast<const unsigned char*>(records);
  *length = 0;
  for (std::size_t i = 0; i < fitting; ++i, record += sizeof(_VelProfileReport)) {
    *length += renderer.render(record, 1, out + *length);
    ends[i] = *length;
  }
  return fitting;
}

size_t vel_profile_fields(const void* record, vel_profile_field* out, size_t capacity) {
  FieldCursor cursor(record);
  Field field;
  std::size_t count = 0;
  for (; cursor.next(field); ++count) {
    if (count < capacity) {
      vel_profile_field& given = out[count];
      given = {};
      given.layout = field.layout->name.data(); // literals: NUL-terminated
      given.key = field.row->key.data();
      given.group = field.group;
      given.kind = static_cast<std::uint32_t>(field.row->kind);
      given.offset = field.row->offset;
      given.size = field.row->size;
      given.width = field.row->width;
      given.length = static_cast<std::uint32_t>(field.bytes.size());
      given.number = field.number;
      given.real = field.real;
      std::copy(field.bytes.begin(), field.bytes.end(), given.bytes);
    }
  }
  return count;
}

size_t vel_profile_category_name(uint32_t category, char* out, size_t capacity) {
  return copy_name(category_names(), category, out, capacity);
}

size_t vel_profile_component_name(uint32_t category, uint32_t component, char* out, size_t capacity) {
  return copy_name(component_names(category), component, out, capacity);
}

size_t vel_profile_event_name(uint32_t category, uint32_t component, uint32_t event, char* out, size_t capacity) {
  return copy_name(event_names(category, component), event, out, capacity);
}

size_t vel_profile_datatype_name(uint32_t datatype, char* out, size_t capacity) {
  return copy_name(datatype_names(), datatype, out, capacity);
}

size_t vel_profile_subtype_name(uint32_t category, uint32_t component, uint32_t subtype, char* out, size_t capacity) {
  return copy_name(subtype_names(category, component), subtype, out, capacity);
}

size_t vel_profile_rows(vel_profile_row* out, size_t capacity) {
  std::size_t count = 0;
  for (const Layout& layout : all_layouts()) {
    for (const Row& row : layout.rows) {
      if (count < capacity) { // names are literals: NUL-terminated
        out[count] = {layout.name.data(), row.key.data(), static_cast<std::uint32_t>(row.kind), row.offset, row.size,
                      row.width,          row.parameter};
      }
      ++count;
    }
  }
  return count;
}

size_t vel_profile_shows(const void* records, size_t count, const char* layout, unsigned char* shown) {
  const Layout* wanted = nullptr; // equal to no shown layout
  for (const Layout& known : all_layouts()) {
    if (known.name == layout) {
      wanted = &known;
    }
  }
  const unsigned char* record = static_cast<const unsigned char*>(records);
  std::size_t showing = 0;
  for (std::size_t i = 0; i < count; ++i, record += sizeof(_VelProfileReport)) {
    const ShownLayouts layouts = shown_layouts(record);
    shown[i] = static_cast<unsigned char>(std::count(layouts.begin(), layouts.end(), wanted));
    showing += shown[i] != 0;
  }
  return showing;
}
