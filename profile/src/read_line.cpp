// Finds dumps in text, reads them, and compares each line with the text of its record.
#include "profile/read_line.h"

#include "profile/record_view.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstring>

namespace vel::profile {

namespace {

constexpr std::size_t npos = std::string_view::npos;
constexpr std::size_t longest_dump = record_size * std::string_view("255,").size();

static_assert(std::endian::native == std::endian::little, "the first character is in the lowest byte");

// The place of a dump's first number, at or after `from`. Searches for brackets because they are rare in lines.
std::size_t find_dump(std::string_view text, std::size_t from) noexcept {
  constexpr std::size_t length = dump_beginning.size();
  while (from < text.size()) {
    const void* const found = std::memchr(text.data() + from, '[', text.size() - from);
    if (found == nullptr) {
      return npos;
    }
    const std::size_t end = static_cast<std::size_t>(static_cast<const char*>(found) - text.data()) + 1;
    if (end >= length && std::memcmp(text.data() + end - length, dump_beginning.data(), length) == 0) {
      return end;
    }
    from = end;
  }
  return npos;
}

std::size_t rfind_dump(std::string_view text) noexcept {
  const std::size_t found = text.rfind(dump_beginning);
  return found == npos ? npos : found + dump_beginning.size();
}

// One bit for each of eight characters: whether it is a comma.
unsigned commas_among(const char* p) noexcept {
  constexpr std::uint64_t ones = 0x0101010101010101;
  constexpr std::uint64_t low_bits = 0x7f * ones;
  std::uint64_t text;
  std::memcpy(&text, p, sizeof text);
  const std::uint64_t differs = text ^ ',' * ones;
  const std::uint64_t nonzero = ((differs & low_bits) + low_bits) | differs;
  const std::uint64_t equal = (~nonzero >> 7) & ones; // the low bit of each byte
  // Gathers the eight low bits in the highest byte: bit 8 i is moved to bit 56 + i, and no two products meet.
  return static_cast<unsigned>((equal * 0x0102040810204080) >> 56);
}

// Reads a dump without checking its numbers: the caller compares the text with the rendered bytes, which finds unsound
// numbers. Each number's place comes from the commas, so that no number waits for the one before it. Returns the dump's
// length with its bracket. `p` has longest_dump + 8 readable characters.
std::size_t read_dump_fast(const char* p, unsigned char* record) noexcept {
  const char* number = p;
  std::size_t count = 0;
  for (std::size_t at = 0; at < longest_dump && count < record_size - 1; at += 8) {
    for (unsigned commas = commas_among(p + at); commas != 0 && count < record_size - 1; commas &= commas - 1) {
      const char* const end = p + at + std::countr_zero(commas);
      const auto length = static_cast<unsigned>(end - number);
      // The last three characters before the comma, with zeros in place of those that are not part of this number.
      std::uint32_t digits;
      std::memcpy(&digits, number, sizeof digits);
      digits = (digits & 0x0f0f0f0f) << (8 * ((4 - length) & 3));
      record[count++] = static_cast<unsigned char>(digits >> 24) +
                        static_cast<unsigned char>(10 * (digits >> 16 & 0xff)) +
                        static_cast<unsigned char>(100 * (digits >> 8 & 0xff));
      number = end + 1;
    }
  }
  std::fill(record + count, record + record_size - 1, static_cast<unsigned char>(0));
  // The last number ends with the bracket.
  unsigned last = 0;
  const char* const last_end = std::min(number + 3, p + longest_dump);
  for (; number < last_end && *number >= '0' && *number <= '9'; ++number) {
    last = last * 10 + static_cast<unsigned>(*number - '0');
  }
  record[record_size - 1] = static_cast<unsigned char>(last);
  return static_cast<std::size_t>(number - p) + 1;
}

struct DumpEnd {
  std::size_t at;     // just after the bracket, or where the dump stops being valid
  bool whole = false; // 48 bytes and the bracket
};

// Reads the numbers from `at` on, one by one. They have the form that the dump gives them: no blanks, no leading zeros.
DumpEnd read_dump(std::string_view text, std::size_t at, unsigned char* record) noexcept {
  for (std::size_t i = 0; i < record_size; ++i) {
    const char* const begin = text.data() + at;
    unsigned value = 0;
    const auto [end, error] = std::from_chars(begin, text.data() + text.size(), value);
    const std::size_t length = static_cast<std::size_t>(end - begin);
    const std::size_t after = at + length;
    const bool number = error == std::errc{} && value <= 255 && (*begin != '0' || length == 1);
    if (!number || after == text.size() || text[after] != (i + 1 < record_size ? ',' : ']')) {
      return {after};
    }
    record[i] = static_cast<unsigned char>(value);
    at = after + 1;
  }
  return {at, true};
}

// Takes `part` from the front of what is left of the text.
bool take(std::string_view& rest, std::string_view part) noexcept {
  if (!rest.starts_with(part)) {
    return false;
  }
  rest.remove_prefix(part.size());
  return true;
}

// Reads the times and the brace, if present.
void read_times(std::string_view text, std::size_t dump_end, FoundLine& line) noexcept {
  std::string_view rest = text.substr(dump_end);
  line.calendar = {};
  line.boot.reset();
  line.end = dump_end;
  if (take(rest, ", 'calendar-time':'")) {
    const std::size_t length = rest.substr(0, WallClock::longest_text + 1).find('\'');
    if (length == npos) {
      return; // cut inside the time
    }
    line.calendar = rest.substr(0, length);
    rest.remove_prefix(length + 1);
    line.end = text.size() - rest.size();
  }
  if (take(rest, ", 'boot-timestamp':")) {
    std::uint64_t boot = 0;
    const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), boot);
    if (error != std::errc{} || end == rest.data() + rest.size() || *end != '}') {
      return;
    }
    line.boot = boot;
    rest.remove_prefix(static_cast<std::size_t>(end - rest.data()));
  }
  take(rest, "}");
  line.end = text.size() - rest.size();
}

// The beginning, at or after `from`, that is nearest to `expected`; npos if there is none before `end`.
std::size_t nearest_beginning(std::string_view text, std::size_t from, std::size_t end, std::size_t expected) noexcept {
  const auto distance = [expected](std::size_t at) { return at < expected ? expected - at : at - expected; };
  std::size_t nearest = npos;
  const std::string_view before = text.substr(0, end);
  for (std::size_t at = before.find(line_beginning, from); at != npos; at = before.find(line_beginning, at + 1)) {
    if (nearest == npos || distance(at) < distance(nearest)) {
      nearest = at;
    }
  }
  return nearest;
}

} // namespace

// Whether the text before the dump's end is what the bytes are rendered as.
bool LineReader::agrees(std::string_view text, std::size_t from, std::size_t dump_end, FoundLine& line) noexcept {
  rendered_length_ = renderer_.render(line.record.data(), 1, rendered_) - 1; // without the brace
  line.sound = dump_end - from >= rendered_length_ &&
               std::memcmp(text.data() + dump_end - rendered_length_, rendered_, rendered_length_) == 0;
  line.begin = dump_end - rendered_length_;
  line.fault = npos;
  return line.sound;
}

// For a line that does not agree: finds its beginning and the first difference.
void LineReader::find_fault(std::string_view text, std::size_t from, std::size_t dump_end, FoundLine& line) noexcept {
  const std::size_t expected = dump_end - std::min(rendered_length_, dump_end);
  const std::size_t begin = nearest_beginning(text, from, dump_end, expected);
  // If there is no beginning, the line's front was cut off.
  line.begin = begin != npos ? begin : std::max(from, text.substr(0, dump_end).rfind(dump_beginning));
  const std::string_view words = text.substr(line.begin, dump_end - line.begin);
  const std::string_view expected_words(rendered_, rendered_length_);
  const auto differs = std::mismatch(words.begin(), words.end(), expected_words.begin(), expected_words.end());
  line.fault = line.begin + static_cast<std::size_t>(differs.first - words.begin());
}

bool LineReader::next(std::string_view text, std::size_t from, FoundLine& line) noexcept {
  for (std::size_t at = find_dump(text, from); at != npos; at = find_dump(text, at)) {
    if (text.size() - at >= longest_dump + 8) {
      const std::size_t end = at + read_dump_fast(text.data() + at, line.record.data());
      if (agrees(text, from, end, line)) {
        read_times(text, end, line);
        return true;
      }
    }
    const DumpEnd end = read_dump(text, at, line.record.data());
    if (end.whole) {
      if (!agrees(text, from, end.at, line)) {
        find_fault(text, from, end.at, line);
      }
      read_times(text, end.at, line);
      return true;
    }
  }
  return false;
}

UnreadLines count_unread_lines(std::string_view text) noexcept {
  UnreadLines unread;
  std::size_t begin = text.find(line_beginning);
  while (begin != npos) {
    const std::size_t next = text.find(line_beginning, begin + 1);
    const std::string_view line = text.substr(begin, next == npos ? npos : next - begin);
    unsigned char record[record_size];
    const std::size_t dump = find_dump(line, 0);
    // If a bracket follows on the same line, the dump is damaged, not truncated.
    const std::string_view rest = dump == npos ? std::string_view() : line.substr(read_dump(line, dump, record).at);
    if (rest.substr(0, rest.find('\n')).find(']') == npos) {
      ++unread.truncated;
    } else if (unread.damaged++ == 0) {
      unread.first_damaged = begin;
    }
    begin = next;
  }
  return unread;
}

std::size_t whole_lines(std::string_view text) noexcept {
  // Just after the last complete line.
  std::size_t end = 0;
  for (std::size_t dump = rfind_dump(text); dump != npos;
       dump = rfind_dump(text.substr(0, dump - dump_beginning.size() + 1))) {
    const std::size_t bracket = text.find(']', dump);
    const std::size_t brace = bracket == npos ? npos : text.find_first_of("}\n", bracket);
    if (brace != npos) {
      end = brace + 1;
      break;
    }
  }
  // A beginning after it may still become a line, unless that line would be longer than longest_line. So may a dump,
  // for a line whose front was cut off.
  const std::size_t possible = text.size() > longest_line ? std::max(end, text.size() - longest_line) : end;
  const std::size_t open = std::min(text.find(line_beginning, possible), text.find(dump_beginning, possible));
  if (open != npos) {
    return open;
  }
  // The last characters may be the first ones of a beginning or of a dump.
  constexpr std::size_t longest_mark = std::max(line_beginning.size(), dump_beginning.size());
  return std::max(end, text.size() - std::min(text.size(), longest_mark - 1));
}

} // namespace vel::profile
