// A temporary file without a name, so that it is gone however the process ends.
#pragma once

#include <cstddef>
#include <span>

namespace vel::formats {

class UnnamedFile {
public:
  // In TMPDIR, else in /tmp. Throws Error, as do the others.
  UnnamedFile();
  ~UnnamedFile();
  UnnamedFile(UnnamedFile&& other) noexcept;
  UnnamedFile& operator=(UnnamedFile&&) = delete;

  // Appends all of it.
  void write(std::span<const std::byte> bytes);
  // Reads from so many bytes after the beginning; fewer bytes than asked for only at the end.
  std::size_t read(std::size_t from, std::span<std::byte> out) const;

  // [borrowed: from the object]
  int descriptor() const { return descriptor_; }

private:
  int descriptor_;
};

} // namespace vel::formats
