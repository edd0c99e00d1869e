// What every subcommand needs to write: the standard output, and colours where there is a terminal.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace vel::stat {

// Whoever read the standard output has gone: nothing more to do, and nothing wrong.
class ReaderGone : public std::runtime_error {
public:
  ReaderGone() : std::runtime_error("nobody reads the standard output any more") {}
};

// Writes all of it. Throws ReaderGone, or Error for a full disk and its like.
void writeStandardOutput(std::string_view text);

// A line on stderr. The message may hold names and texts from anywhere.
void remark(std::string_view message);
// The same about what is wrong.
void complain(std::string_view message);

// Whether the standard output is a terminal that does what escape sequences say.
bool isTerminalWithEscapes();

// What to write before and after text that is to be marked up.
struct Mark {
  std::string_view on;
  std::string_view off;

  std::string operator()(std::string_view text) const;
};

// Marks up text, or leaves it alone.
class Style {
public:
  explicit Style(bool colour) : colour_(colour) {}
  // Colour on such a terminal, unless NO_COLOR is set.
  static Style ofStandardOutput();

  std::string bold(std::string_view text) const { return mark("\x1B[1m")(text); }
  std::string dim(std::string_view text) const { return mark("\x1B[2m")(text); }
  Mark green() const { return mark("\x1B[32m"); }
  Mark red() const { return mark("\x1B[31m"); }

private:
  Mark mark(std::string_view on) const { return colour_ ? Mark{on, "\x1B[0m"} : Mark{}; }

  bool colour_;
};

} // namespace vel::stat
