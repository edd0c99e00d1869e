// Standard output in blocks, and output that is only measured.
#include "velstat/text/sink.h"

#include <velstat/text/output.h>

#include <algorithm>

namespace vel::stat {

void Sink::blanks(std::size_t count) {
  constexpr std::string_view many = "                                                                ";
  while (count != 0) {
    const std::size_t part = std::min(count, many.size());
    append(many.substr(0, part));
    count -= part;
  }
}

void BlockSink::append(std::string_view text) {
  constexpr std::size_t blockSize = std::size_t{64} << 10;
  if (block_.size() + text.size() > blockSize) {
    flush();
  }
  if (text.size() > blockSize) {
    write(text);
  } else {
    block_ += text;
  }
}

void BlockSink::flush() {
  write(block_);
  block_.clear();
}

void StandardOutput::write(std::string_view block) {
  writeStandardOutput(block);
}

void Measure::append(std::string_view text) {
  length_ += text.size();
  if (length_ > limit_) {
    throw TooLong();
  }
}

} // namespace vel::stat
