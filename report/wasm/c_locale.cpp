// The month names of the C locale, which is what velstat uses. The C library's strftime would pull in formatted output
// and file access, which a page does not have.
#include <cstring>
#include <ctime>

// Only for "%b ", which is all that the decoder asks for.
extern "C" size_t strftime(char* out, size_t capacity, const char*, const std::tm* time) {
  static constexpr char months[] = "Jan Feb Mar Apr May Jun Jul Aug Sep Oct Nov Dec ";
  constexpr size_t length = 4;
  if (capacity <= length) {
    return 0;
  }
  std::memcpy(out, months + static_cast<size_t>(time->tm_mon) * length, length);
  out[length] = '\0';
  return length;
}
