// Lines that fit the terminal.
#pragma once

#include <velstat/text/sink.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace vel::stat {

// Words, which may be marked up, from the present column on; lines are broken at blanks and further ones begin with
// `indent` blanks. A word that is longer than a line is broken too. Width 0: no limit.
void appendWrapped(Sink& out, std::string_view words, std::size_t indent, std::size_t width);

// Hands on lines of text, those that are too long in several lines. Further lines are indented to the line's last
// column, such as the value after a key, if that leaves half the width; a line without columns by so many blanks more
// than it is. Width 0: no limit.
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
  std::string line_; // as far as it is there
};

} // namespace vel::stat
