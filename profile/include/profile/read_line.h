// Reads text back into records. The bytes come from the dump at a line's end. They are rendered again, and comparing
// that text with the line shows whether any of the line's words contradicts the bytes.
#pragma once

#include "profile/render.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace vel::profile {

// What every line begins with, and what precedes its 48 bytes.
inline constexpr std::string_view line_beginning = "{  'category':";
inline constexpr std::string_view dump_beginning = " 'binary-data':[";

struct FoundLine {
  std::array<unsigned char, sizeof(_VelProfileReport)> record;
  std::size_t begin; // of the line in the text
  std::size_t end;   // just after the line, including its times and its brace if present
  bool sound;        // the words agree with the bytes; the record always comes from the bytes
  std::size_t fault; // where the words begin to differ, if they do

  // The times that follow the bytes. They are not part of the record and are not judged here.
  std::string_view calendar; // [borrowed: from the text] empty if there is none
  std::optional<std::uint64_t> boot;
};

// Finds lines in any text: consecutive ones, or inside other logs, with anything before and after each. Texts of
// records may contain newlines and NULs, so lines are not split at either. [one thread at a time; as many objects as
// threads]
class LineReader {
public:
  // The next line that begins at or after `from` and holds all of its bytes; false if there is none.
  bool next(std::string_view text, std::size_t from, FoundLine& line) noexcept;

private:
  bool agrees(std::string_view text, std::size_t from, std::size_t dump_end, FoundLine& line) noexcept;
  void find_fault(std::string_view text, std::size_t from, std::size_t dump_end, FoundLine& line) noexcept;

  BulkRenderer renderer_{{}, Framing::none};
  char rendered_[frame_capacity];
  std::size_t rendered_length_ = 0; // of the record that was compared last
};

// The number of lines that begin in a text, such as the text between two found lines, but whose bytes cannot be read.
struct UnreadLines {
  std::size_t truncated = 0;     // the line ends before its bytes do
  std::size_t damaged = 0;       // its dump is not one of 48 bytes
  std::size_t first_damaged = 0; // where that line begins
};
UnreadLines count_unread_lines(std::string_view text) noexcept;

// The length of the part of a text that can be passed to LineReader and count_unread_lines while more text is to
// follow: the end of that part does not cut a line in two unless the line is longer than longest_line. The result is at
// least the text's length minus longest_line.
inline constexpr std::size_t longest_line = 4096;
std::size_t whole_lines(std::string_view text) noexcept;

} // namespace vel::profile
