// Lines that fit the terminal.
#pragma once

#include <velstat/text/sink.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace vel::stat {

// Appends words, which may be marked up. Lines are broken at blanks, and all but the first begin with `indent` blanks;
// the first is already indented by as much. A word that is longer than a line is broken too. Width 0: no limit.
void appendWrapped(Sink& out, std::string_view words, std::size_t indent, std::size_t width);

// Passes on lines of text, and breaks those that are too long. The further lines are indented to where the last column
// of the broken line begins, such as the value after a key, but by at most half the width. If the line has no columns,
// they are indented by `hanging` more blanks than the line itself. Width 0: no limit.
class WrappedLines final : public Sink {
public:
  // `out` must outlive this.
  WrappedLines(Sink& out, std::size_t width, std::size_t hanging = 2) : out_(out), width_(width), hanging_(hanging) {}

  void append(std::string_view text) override;

private:
  void end();

  Sink& out_;
  const std::size_t width_;
  const std::size_t hanging_;
  std::string line_; // the line so far
};

} // namespace vel::stat
