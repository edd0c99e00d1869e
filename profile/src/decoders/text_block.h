// Blocks of text from the engine, for the decoder classes.
#pragma once

#include "engine.h"
#include "profile/VelProfileReport.h"
#include "profile/profile_decoder.h"
#include "profile/render.h"

#include <memory>
#include <sstream>
#include <string>
#include <string_view>

namespace vel::profile {

inline const unsigned char* bytes_of(const _VelProfileReport& report) {
  return reinterpret_cast<const unsigned char*>(&report);
}

// Calls write(p), which returns the end of what it wrote, and returns take(text). There is room for a text, and for
// `given` bytes of names and times that do not come from our tables and may have any length.
template <class Write, class Take>
auto with_block(std::size_t given, Write write, Take take) {
  constexpr std::size_t usually_given = 256;
  char usual[text_capacity + usually_given];
  std::unique_ptr<char[]> larger;
  char* block = usual;
  if (given > usually_given) {
    larger.reset(new char[text_capacity + given]);
    block = larger.get();
  }
  return take(std::string_view(block, static_cast<std::size_t>(write(block) - block)));
}

// The block goes into the stream unformatted: a width that is set on the stream does not apply to it.
template <class Write>
void write_block(std::stringstream& out, std::size_t given, Write write) {
  with_block(given, write,
             [&](std::string_view text) { out.write(text.data(), static_cast<std::streamsize>(text.size())); });
}

// Both times of a text, as far as they are known.
struct Times {
  std::string wall;
  unsigned long long boot = 0;
  bool has_wall;
  bool has_boot;

  Times(profile_decoder& decoder, const _VelProfileReport& report)
      : has_wall(decoder.vel_time_to_wall_time(report.timestamp, wall)), has_boot(decoder.get_boot_time(boot)) {}
};

// What follows the payload, to the closing brace.
inline char* write_end(char* p, const unsigned char* record, const Times& times) {
  p = write_tail(p, record);
  p = times.has_wall ? write_calendar(p, times.wall) : p;
  p = times.has_boot ? write_boot(p, times.boot) : p;
  *p = '}';
  return p + 1;
}

} // namespace vel::profile
