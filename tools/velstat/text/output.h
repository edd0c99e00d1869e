// Standard output, messages on stderr, and colours on a terminal, for all subcommands.
#pragma once

#include <cstddef>
#include <exception>
#include <stdexcept>
#include <string>
#include <string_view>

namespace vel::stat {

// Thrown when the reader of standard output has closed it: the command then ends without an error.
class ReaderGone : public std::runtime_error {
public:
  ReaderGone() : std::runtime_error("the reader of standard output has closed it") {}
};

// Writes the whole text, and waits even if the descriptor is non-blocking. Returns false, with errno set, if the text
// cannot be written.
bool writeAll(int descriptor, std::string_view text) noexcept;
// The same for standard output, which goes through a pager if it is a terminal. Throws ReaderGone, or Error with the
// cause, such as a full disk.
void writeStandardOutput(std::string_view text);
// The same for stderr. A failure is ignored: it cannot be reported, and the command need not fail.
void writeStandardError(std::string_view text) noexcept;

// Writes a line on stderr. The message may contain untrusted text, which is escaped.
void remark(std::string_view message);
// The same for an error.
void complain(std::string_view message);
void complain(const std::exception& error);
// Complains and ends the process at once, for a call that does not return. [any thread]
[[noreturn]] void endNow(std::string_view line, int status);

// Whether standard output is a terminal, possibly through a pager.
bool isTerminal();
// The same for one that understands escape sequences.
bool isTerminalWithEscapes();

// The width of the terminal that is standard output: COLUMNS or the terminal's own width, but at least `leastWidth`.
// 0 for files and pipes, whose lines may be of any length.
constexpr std::size_t leastWidth = 40;
std::size_t outputWidth();

enum class Colour { automatic, always, never };
// For Style::ofStandardOutput() from now on. Automatic: on a terminal with escapes, unless NO_COLOR is set.
void chooseColour(Colour colour);

// What to write before and after marked-up text.
struct Mark {
  std::string_view on;
  std::string_view off;

  std::string operator()(std::string_view text) const;
};

// Marks up text or returns it unchanged, and says how wide lines may be.
class Style {
public:
  explicit Style(bool colour, std::size_t width = 0) : colour_(colour), width_(width) {}
  // With the chosen colour and the width of the terminal.
  static Style ofStandardOutput();

  std::size_t width() const { return width_; } // 0: no limit

  std::string bold(std::string_view text) const { return mark("\x1B[1m")(text); }
  std::string dim(std::string_view text) const { return mark("\x1B[2m")(text); }
  Mark green() const { return mark("\x1B[32m"); }
  Mark yellow() const { return mark("\x1B[33m"); }
  Mark red() const { return mark("\x1B[31m"); }

private:
  Mark mark(std::string_view on) const { return colour_ ? Mark{on, "\x1B[0m"} : Mark{}; }

  bool colour_;
  std::size_t width_;
};

} // namespace vel::stat
