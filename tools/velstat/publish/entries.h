// The entries of a file: checked as a whole before the first is taken, and read a batch at a time.
#pragma once

#include <formats/unnamed_file.h>
#include <formats/value.h>
#include <sources/input.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace vel::stat {

class Entries {
public:
  // "-" is standard input. A pipe is first copied into a temporary file, because only its end shows whether it is
  // sound. Throws Error for what cannot be read, is too long, or ends inside an entry.
  explicit Entries(const std::string& path);

  // Up to `most` entries; empty at the end. Throws Error.
  formats::Bytes next(std::size_t most);

private:
  std::size_t readInput(std::span<std::byte> out);
  void copyInput();
  void requireNotTooLong() const;

  sources::Complaints complaints_;
  sources::Cancellation cancellation_;
  sources::Input input_{complaints_, cancellation_};
  std::optional<formats::UnnamedFile> copy_; // of an input that is not a regular file
  std::uint64_t size_ = 0;                   // in bytes
  std::uint64_t taken_ = 0;
};

} // namespace vel::stat
