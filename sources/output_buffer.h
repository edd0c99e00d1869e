// A buffer for output. It grows rarely and is reused, so that a record costs no allocation.
#pragma once

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstring>
#include <memory>
#include <string_view>

namespace vel::sources {

class OutputBuffer {
public:
  std::string_view view() const noexcept { return {data_.get(), size_}; }
  void clear() noexcept { size_ = 0; }
  void cut(std::size_t size) noexcept { size_ = size; } // `size` is at most the current one

  // Returns room for at least `size` bytes after the content. claim() then adds the written bytes to the content.
  char* room(std::size_t size) {
    if (capacity_ - size_ < size) {
      grow(size);
    }
    return data_.get() + size_;
  }
  void claim(std::size_t size) noexcept { size_ += size; }

  void append(std::string_view text) {
    std::copy(text.begin(), text.end(), room(text.size()));
    size_ += text.size();
  }
  void append(char character) {
    *room(1) = character;
    ++size_;
  }
  template <class Number>
  void appendNumber(Number number) {
    char* const at = room(32); // no number has more than 24 characters in its shortest form
    size_ += static_cast<std::size_t>(std::to_chars(at, at + 32, number).ptr - at);
  }

private:
  // Unused pages are never touched, so a generous capacity costs only address space.
  void grow(std::size_t size) {
    const std::size_t capacity = std::max(size_ + size, capacity_ * 2);
    auto data = std::make_unique_for_overwrite<char[]>(capacity);
    if (size_ != 0) {
      std::memcpy(data.get(), data_.get(), size_);
    }
    data_ = std::move(data);
    capacity_ = capacity;
  }

  std::unique_ptr<char[]> data_;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};

} // namespace vel::sources
