// Standard output, messages on stderr, and colours on a terminal, for all subcommands.
#pragma once

#include <cstddef>
#include <exception>
#include <stdexcept>
#include <string>
#include <string_view>

namespace vel::stat {

// The reader of standard output has closed it: the command ends, without an error.
class ReaderGone : public std::runtime_error {
public:
  ReaderGone() : std::runtime_error("the reader of standard output has closed it") {}
};

// Writes all of it, however long a descriptor that does not block has to be waited for. False, with errno, when it
// cannot be written.
bool writeAll(int descriptor, std::string_view text) noexcept;
// The same on standard output. Throws ReaderGone, or Error with the cause, such as a full disk.
void writeStandardOutput(std::string_view text);
// The same on stderr. A stderr that cannot be written cannot be reported, and the command need not fail for it.
void writeStandardError(std::string_view text) noexcept;

// Writes a line on stderr. The message may contain untrusted text, which is escaped.
void remark(std::string_view message);
// The same for an error.
void complain(std::string_view message);
void complain(const std::exception& error);

// Whether standard output is a terminal that understands escape sequences.
bool isTerminalWithEscapes();

// The columns of the terminal that standard output is; 0 for files and pipes, whose lines may be of any length.
std::size_t outputWidth();

// What to write before and after marked-up text.
struct Mark {
  std::string_view on;
  std::string_view off;

  std::string operator()(std::string_view text) const;
};

// Marks up text, or returns it unchanged.
class Style {
public:
  explicit Style(bool colour) : colour_(colour) {}
  // Colour on such a terminal, unless NO_COLOR is set.
  static Style ofStandardOutput();

  std::string bold(std::string_view text) const { return mark("\x1B[1m")(text); }
  std::string dim(std::string_view text) const { return mark("\x1B[2m")(text); }
  Mark green() const { return mark("\x1B[32m"); }
  Mark yellow() const { return mark("\x1B[33m"); }
  Mark red() const { return mark("\x1B[31m"); }

private:
  Mark mark(std::string_view on) const { return colour_ ? Mark{on, "\x1B[0m"} : Mark{}; }

  bool colour_;
};

} // namespace vel::stat
