// A temporary file without a name, so that it is gone however the process ends.
#pragma once

#include <cstddef>
#include <span>

namespace vel::formats {

class UnnamedFile {
public:
  // Creates the file in the folder TMPDIR, or in /tmp if that is not set. Throws Error, as do write() and read().
  UnnamedFile();
  ~UnnamedFile();
  UnnamedFile(UnnamedFile&& other) noexcept;
  UnnamedFile& operator=(UnnamedFile&&) = delete;

  // Appends all the bytes.
  void write(std::span<const std::byte> bytes);
  // Reads at offset `from`. Returns fewer bytes than `out` has room for only at the end of the file.
  std::size_t read(std::size_t from, std::span<std::byte> out) const;

  // [borrowed: from the object]
  int descriptor() const { return descriptor_; }

private:
  int descriptor_;
};

} // namespace vel::formats
