// The firmware's free-form text: a stream of tagged elements that make up entries of text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

// The reply buffer of one property; four properties share it, one after another.
inline constexpr size_t kTextStreamCapacity = 256;

// Reads entries from a reply. No element begins beyond the reply's length, but a payload that begins before it may run
// past it and then takes the buffer's old bytes; beyond the buffer, all bytes read as zero.
class TextStream {
public:
  TextStream(std::span<const uint8_t> buffer, size_t length);

  // Stores the next entry, of at most 1023 characters; false if there are no more.
  bool next(std::string& entry);

private:
  uint8_t take();
  uint64_t takeNumber(size_t bytes);
  void takeElement(uint8_t tag);
  void takeText();
  void appendNumber(const char* format, ...) __attribute__((format(printf, 2, 3)));

  std::span<const uint8_t> _buffer;
  size_t _length;
  size_t _offset = 0;
  bool _entryEnded = false; // set by a tag, acted on when the next element is read
  bool _hexadecimal = false;
  std::string _text;
};
