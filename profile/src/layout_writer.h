// Writes the text of payload layouts with code that is unrolled from their rows at compile time. Between two values
// there is one constant to copy, which begins with what ends the first value and ends with what begins the second.
// docs/from-record-to-text.md follows a record through this file.
#pragma once

#include "digits.h"
#include "fixed_point_text.h"
#include "layouts.h"
#include "pieces.h"
#include "profile/record_view.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace vel::profile {

// A constant text, padded so that it can be copied 16 bytes at a time.
template <std::size_t Length>
struct Literal {
  static constexpr std::size_t length = Length;
  char text[(Length + 15) / 16 * 16] = {};

  char* copy_to(char* p) const noexcept {
    copy_bytes(p, text, sizeof text);
    return p + Length;
  }
};

constexpr bool is_quoted(FieldKind kind) {
  return kind == FieldKind::text || kind == FieldKind::quoted_number || kind == FieldKind::subtype_name;
}

// What follows a value: the closing apostrophe of a quoted one, and the comma.
constexpr std::string_view closing(const Row& row) {
  return is_quoted(row.kind) ? "'," : ",";
}

// The part of a row's padding that is the same in every record.
constexpr std::size_t opening_blanks(const Row& row) {
  switch (row.kind) {
  case FieldKind::quoted_number:
  case FieldKind::character:
    return row.width - 1U;
  case FieldKind::number:
    return row.size == 1 && row.width != 0 ? row.width - 3U : 0;
  case FieldKind::constant:
    return row.width == 0 ? 0 : row.width - (row.parameter >= 10 ? 2U : 1U);
  default:
    return 0;
  }
}

template <class Append>
constexpr void spell_opening(const Row* before, const Row& row, Append append) {
  const auto append_text = [&](std::string_view text) {
    for (const char c : text) {
      append(c);
    }
  };
  if (before != nullptr) {
    append_text(closing(*before));
  }
  append_text(" '");
  append_text(row.key);
  append_text("':");
  for (std::size_t i = 0; i < opening_blanks(row); ++i) {
    append(' ');
  }
  if (row.kind == FieldKind::quoted_number) {
    append('\'');
  }
  if (row.kind == FieldKind::constant) {
    if (row.parameter >= 10) {
      append(static_cast<char>('0' + row.parameter / 10));
    }
    append(static_cast<char>('0' + row.parameter % 10));
  }
  if (row.kind == FieldKind::bytes) {
    append('[');
  }
}

template <std::size_t LayoutIndex, std::size_t RowIndex>
constexpr auto make_opening() {
  constexpr const Row& row = layouts::all[LayoutIndex].rows[RowIndex];
  constexpr const Row* before = RowIndex == 0 ? nullptr : &layouts::all[LayoutIndex].rows[RowIndex - 1];
  constexpr std::size_t length = [] {
    std::size_t n = 0;
    spell_opening(before, row, [&](char) { ++n; });
    return n;
  }();
  Literal<length> literal;
  std::size_t n = 0;
  spell_opening(before, row, [&](char c) { literal.text[n++] = c; });
  return literal;
}

template <std::size_t LayoutIndex, std::size_t RowIndex>
inline constexpr auto opening = make_opening<LayoutIndex, RowIndex>();

inline char* put_blanks(char* p, std::size_t count) noexcept {
  return std::fill_n(p, count, ' ');
}

// Bytes before the first zero byte, 8 if there is none. Subtracting 1 from each byte sets the high bit of a zero byte
// and of bytes from 0x81; `& ~word` drops the latter. A borrow can only change bytes above a zero byte, so the lowest
// bit set is right.
inline std::size_t length_in_word(std::uint64_t word) noexcept {
  const std::uint64_t zeros = (word - 0x0101010101010101) & ~word & 0x8080808080808080;
  return zeros == 0 ? 8 : static_cast<std::size_t>(std::countr_zero(zeros)) / 8;
}

// A text field up to its NUL, with its opening apostrophe; the closing one belongs to the next literal. Copies whole
// words and leaves it to the next literal to overwrite what follows the NUL.
template <std::size_t Size, std::size_t Width>
char* put_text(char* p, const unsigned char* field) noexcept {
  static_assert(Size == 8 || Size == 12 || Size == 16);
  std::uint64_t words[2] = {load<std::uint64_t>(field), 0};
  if constexpr (Size == 12) {
    words[1] = load<std::uint32_t>(field + 8);
  } else if constexpr (Size == 16) {
    words[1] = load<std::uint64_t>(field + 8);
  }
  std::size_t length = length_in_word(words[0]);
  if (Size > 8 && length == 8) {
    length += length_in_word(words[1]);
  }
  store(p, 0x2020202020202020);
  store(p + 8, 0x2020202020202020);
  static_assert(Width <= 18);
  p += length + 2 < Width ? Width - length - 2 : 0;
  *p++ = '\'';
  store(p, words[0]);
  store(p + 8, words[1]);
  return p + length;
}

inline char* put_slice_width_10(char* p, const unsigned char* bytes, std::size_t count) noexcept {
  char* const begin = p;
  *p++ = '[';
  p = put_byte_list(p, bytes, count);
  *p++ = ']';
  const std::size_t length = static_cast<std::size_t>(p - begin);
  if (length < 10) {
    std::copy_backward(begin, p, begin + 10);
    put_blanks(begin, 10 - length);
    return begin + 10;
  }
  return p;
}

// A quoted name without its closing apostrophe, which belongs to the next literal: any text, or a piece.
inline char* put_name(char* p, std::string_view name, std::size_t width) noexcept {
  if (name.size() + 2 < width) {
    p = put_blanks(p, width - name.size() - 2);
  }
  *p++ = '\'';
  copy_bytes(p, name.data(), name.size());
  return p + name.size();
}

template <std::size_t Size>
char* put_name(char* p, const Piece<Size>& name, std::size_t) noexcept {
  return name.copy_to(p) - 1;
}

// A record with its words read before any text is written. The compiler must assume that writing text changes the
// record; with the words read first, it converts a word only once even if the text shows it several times.
struct RecordWords {
  const unsigned char* bytes;
  std::uint32_t words[record_size / 4];

  explicit RecordWords(const unsigned char* record) noexcept : bytes(record) {
    copy_bytes(words, record, sizeof words);
  }

  template <std::size_t Offset>
  std::uint32_t word() const noexcept {
    if constexpr (Offset % 4 == 0) {
      return words[Offset / 4];
    } else {
      return load<std::uint32_t>(bytes + Offset);
    }
  }
};

template <std::size_t LayoutIndex, std::size_t RowIndex, class Name>
[[gnu::always_inline]] inline char* put_value(char* p, const RecordWords& record,
                                              [[maybe_unused]] const Name& subtype) noexcept {
  constexpr const Row& row = layouts::all[LayoutIndex].rows[RowIndex];
  [[maybe_unused]] const unsigned char* at = record.bytes + row.offset;
  if constexpr (row.kind == FieldKind::number && row.size == 1 && row.width == 0) {
    return put_byte_comma(p, *at) - 1;
  } else if constexpr (row.kind == FieldKind::number && row.size == 1) {
    copy_bytes(p, right_aligned_bytes[*at].text, 4);
    return p + 3;
  } else if constexpr (row.kind == FieldKind::number && row.size == 8) {
    return put_u64_width_10(p, load<std::uint64_t>(at));
  } else if constexpr (row.kind == FieldKind::number && row.size == 4 && row.width == 10) {
    return put_u32_width_10(p, record.word<row.offset>());
  } else if constexpr (row.kind == FieldKind::number && row.size == 2 && row.width == 10) {
    return put_u32_width_10(p, load<std::uint16_t>(at));
  } else if constexpr (row.kind == FieldKind::number && row.size == 2) {
    return put_below_1e8(p, load<std::uint16_t>(at));
  } else if constexpr (row.kind == FieldKind::number || row.kind == FieldKind::quoted_number) {
    return put_u32(p, record.word<row.offset>());
  } else if constexpr (row.kind == FieldKind::constant) {
    return p;
  } else if constexpr (row.kind == FieldKind::text) {
    return put_text<row.size, row.width>(p, at);
  } else if constexpr (row.kind == FieldKind::subtype_name) {
    return put_name(p, subtype, row.width);
  } else if constexpr (row.kind == FieldKind::bytes) {
    static_assert(row.size * 2 + 1 >= row.width, "a dump this long needs no padding");
    p = put_byte_list(p, at, row.size);
    *p = ']';
    return p + 1;
  } else if constexpr (row.kind == FieldKind::sliced_bytes) {
    return put_slice_width_10(p, at,
                              std::min<std::size_t>(row.size, load<std::uint16_t>(record.bytes + row.parameter)));
  } else if constexpr (row.kind == FieldKind::character) {
    *p = static_cast<char>(*at);
    return p + 1;
  } else {
    static_assert(row.kind == FieldKind::fixed_point);
    return put_fixed_point_width_10(p, record.word<row.offset>());
  }
}

template <std::size_t LayoutIndex, class Name, std::size_t... RowIndex>
[[gnu::always_inline]] inline char* write_rows(char* p, const RecordWords& record, const Name& subtype,
                                               std::index_sequence<RowIndex...>) noexcept {
  ((p = put_value<LayoutIndex, RowIndex>(opening<LayoutIndex, RowIndex>.copy_to(p), record, subtype)), ...);
  constexpr std::string_view last = closing(layouts::all[LayoutIndex].rows.back());
  copy_bytes(p, last.data(), last.size());
  return p + last.size();
}

// The layouts with these indexes, in this order. `subtype` is the name to show in a row of that kind.
template <std::size_t... LayoutIndex, class Name>
char* write_layouts(char* p, const unsigned char* record, const Name& subtype) noexcept {
  const RecordWords words(record);
  ((p = write_rows<LayoutIndex>(p, words, subtype, std::make_index_sequence<layouts::all[LayoutIndex].rows.size()>())),
   ...);
  return p;
}

// The most bytes that a value takes. The name of a subtype is not counted: it may come from another program.
constexpr std::size_t longest_value(const Row& row) {
  switch (row.kind) {
  case FieldKind::number:
    return std::max<std::size_t>(row.width, row.size == 1 ? 3 : row.size == 2 ? 5 : row.size == 4 ? 10 : 20);
  case FieldKind::constant:
    return std::max<std::size_t>(row.width, 3);
  case FieldKind::quoted_number:
    return row.width + 10U + 1;
  case FieldKind::text:
    return std::max<std::size_t>(row.width, row.size + 2U);
  case FieldKind::subtype_name:
    return row.width;
  case FieldKind::bytes:
  case FieldKind::sliced_bytes:
    return std::max<std::size_t>(row.width, row.size * 4U + 1);
  case FieldKind::character:
    return row.width;
  case FieldKind::fixed_point:
    return std::max<std::size_t>(row.width, std::string_view("-1.52588e-05").size());
  }
  return 0;
}

constexpr std::size_t longest_text(const Layout& layout) {
  std::size_t length = 0;
  for (const Row& row : layout.rows) {
    length += std::string_view(" '':,").size() + row.key.size() + longest_value(row);
  }
  return length;
}

} // namespace vel::profile
