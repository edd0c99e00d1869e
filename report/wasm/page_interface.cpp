// The functions that the page's script calls, over the decoder's C interface.
#include "page_interface.h"

#include <profile/record_view.h>

#include <wasm_simd128.h>

#include <cstdlib>
#include <cstring>

namespace {

using namespace vel::profile;

vel_profile_times times;
vel_profile_field fields[VEL_PROFILE_FIELD_CAPACITY];

constexpr unsigned char lower(unsigned char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<unsigned char>(c + 32) : c;
}

constexpr unsigned char upper(unsigned char c) {
  return c >= 'a' && c <= 'z' ? static_cast<unsigned char>(c - 32) : c;
}

// Searches texts for one text, ignoring case. Its first and its last byte are compared at 16 places at once; the rest
// is compared only where both match. Texts must be followed by `beyond` readable bytes.
class Needle {
public:
  static constexpr size_t longest = 4096;
  static constexpr size_t beyond = longest + sizeof(v128_t);

  Needle(const unsigned char* text, size_t length) : text_(text), length_(length < longest ? length : longest) {}

  bool isIn(const unsigned char* text, size_t length) const {
    if (length_ == 0 || length_ > length) {
      return length_ == 0;
    }
    const Letter first(text_[0]);
    const Letter last(text_[length_ - 1]);
    const size_t places = length - length_ + 1;
    for (size_t at = 0; at < places; at += sizeof(v128_t)) {
      uint32_t likely = wasm_i8x16_bitmask(wasm_v128_and(first.in(text + at), last.in(text + at + length_ - 1)));
      for (; likely != 0; likely &= likely - 1) {
        const size_t place = at + static_cast<size_t>(__builtin_ctz(likely));
        if (place < places && matches(text + place)) {
          return true;
        }
      }
    }
    return false;
  }

private:
  // A byte; if it is a letter, in upper and lower case.
  struct Letter {
    explicit Letter(unsigned char c) : small(wasm_u8x16_splat(lower(c))), capital(wasm_u8x16_splat(upper(c))) {}

    v128_t in(const unsigned char* text) const {
      const v128_t bytes = wasm_v128_load(text);
      return wasm_v128_or(wasm_i8x16_eq(bytes, small), wasm_i8x16_eq(bytes, capital));
    }

    v128_t small;
    v128_t capital;
  };

  bool matches(const unsigned char* place) const {
    for (size_t i = 0; i < length_; ++i) {
      if (lower(place[i]) != lower(text_[i])) {
        return false;
      }
    }
    return true;
  }

  const unsigned char* text_;
  size_t length_;
};

} // namespace

size_t vel_page_record_size() {
  return record_size;
}

size_t vel_page_text_capacity() {
  return VEL_PROFILE_TEXT_CAPACITY;
}

void* vel_page_allocate(size_t bytes) {
  return std::malloc(bytes);
}

const vel_profile_times* vel_page_times(uint32_t flags, int64_t vel, int64_t calendar, uint64_t boot) {
  times = {flags, vel, calendar, boot};
  return &times;
}

void vel_page_kinds(const unsigned char* records, size_t count, uint32_t* kinds) {
  for (size_t i = 0; i < count; ++i, records += record_size) {
    kinds[i] = static_cast<uint32_t>(category(records)) << 24 | static_cast<uint32_t>(component(records)) << 16 |
               static_cast<uint32_t>(event(records)) << 8 | type(records);
  }
}

size_t vel_page_name(const unsigned char* record, uint32_t part, char* out, size_t capacity) {
  switch (part) {
  case 0:
    return vel_profile_category_name(category(record), out, capacity);
  case 1:
    return vel_profile_component_name(category(record), component(record), out, capacity);
  case 2:
    return vel_profile_event_name(category(record), component(record), event(record), out, capacity);
  default:
    return vel_profile_datatype_name(type(record), out, capacity);
  }
}

double vel_page_timestamp(const unsigned char* record) {
  return static_cast<double>(timestamp(record));
}

size_t vel_page_search(const unsigned char* records, uint32_t* chosen, size_t count, const vel_profile_times* given,
                       const unsigned char* needle, size_t length) {
  constexpr size_t block = 64;
  constexpr size_t room = block * VEL_PROFILE_TEXT_CAPACITY;
  static char texts[room + Needle::beyond];
  static unsigned char together[block * VEL_PROFILE_RECORD_SIZE];
  size_t ends[block];
  const Needle wanted(needle, length);
  size_t kept = 0;
  for (size_t done = 0; done < count;) {
    const size_t taken = count - done < block ? count - done : block;
    for (size_t i = 0; i < taken; ++i) {
      std::memcpy(together + i * record_size, records + chosen[done + i] * record_size, record_size);
    }
    size_t written = 0;
    vel_profile_render_many(together, taken, given, texts, room, &written, ends);
    for (size_t i = 0, begin = 0; i < taken; begin = ends[i], ++i) {
      const size_t end = ends[i] - 1; // without the newline
      if (wanted.isIn(reinterpret_cast<const unsigned char*>(texts) + begin, end - begin)) {
        chosen[kept++] = chosen[done + i];
      }
    }
    done += taken;
  }
  return kept;
}

size_t vel_page_read_fields(const unsigned char* record) {
  return vel_profile_fields(record, fields, VEL_PROFILE_FIELD_CAPACITY);
}

const char* vel_page_field_layout(size_t field) {
  return fields[field].layout;
}

const char* vel_page_field_key(size_t field) {
  return fields[field].key;
}

uint32_t vel_page_field_form(size_t field) {
  switch (fields[field].kind) {
  case VEL_PROFILE_TEXT:
  case VEL_PROFILE_SUBTYPE_NAME:
    return 't';
  case VEL_PROFILE_BYTES:
  case VEL_PROFILE_SLICED_BYTES:
    return 'b';
  case VEL_PROFILE_FIXED_POINT:
    return 'r';
  default:
    return 'n';
  }
}

uint64_t vel_page_field_number(size_t field) {
  return fields[field].number;
}

double vel_page_field_real(size_t field) {
  return fields[field].real;
}

const char* vel_page_field_bytes(size_t field) {
  return fields[field].bytes;
}

size_t vel_page_field_length(size_t field) {
  return fields[field].length;
}
