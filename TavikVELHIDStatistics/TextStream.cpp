// Walks the tagged elements, with a limit on the text and zeros beyond the buffer.
#include "TextStream.h"

#include "ReplyLength.h"

#include <cstdarg>
#include <cstdio>
#include <utility>

namespace {

constexpr size_t kMaximumText = 1023;

enum class Tag : uint8_t { number32 = 0, number64 = 1, text = 2, endOfEntry = 3, hexadecimal = 4, decimal = 5 };

} // namespace

TextStream::TextStream(std::span<const uint8_t> buffer, size_t length)
    : _buffer(buffer), _length(replyLength(length, buffer.size())) {}

bool TextStream::next(std::string& entry) {
  while (_offset < _length) {
    const uint8_t tag = take();
    const bool entryEnded = std::exchange(_entryEnded, tag == static_cast<uint8_t>(Tag::endOfEntry));
    if (entryEnded) {
      entry = std::exchange(_text, {});
    }
    takeElement(tag);
    if (entryEnded) {
      return true; // even if it is empty
    }
  }
  // The rest is an entry unless it is empty, with or without an end tag.
  entry = std::exchange(_text, {});
  return !entry.empty();
}

uint8_t TextStream::take() {
  const size_t offset = _offset++;
  return offset < _buffer.size() ? _buffer[offset] : 0;
}

uint64_t TextStream::takeNumber(size_t bytes) {
  uint64_t number = 0;
  for (size_t i = 0; i < bytes; ++i) {
    number |= static_cast<uint64_t>(take()) << (8 * i);
  }
  return number;
}

void TextStream::takeElement(uint8_t tag) {
  // There is no default, so that a tag without a case does not compile. Unknown tags have no payload.
  switch (static_cast<Tag>(tag)) {
  case Tag::number32: {
    const auto number = static_cast<uint32_t>(takeNumber(4));
    return _hexadecimal ? appendNumber("%x", number) : appendNumber("%d", static_cast<int32_t>(number));
  }
  case Tag::number64: {
    const auto number = static_cast<unsigned long long>(takeNumber(8));
    return _hexadecimal ? appendNumber("%llx", number) : appendNumber("%lld", static_cast<long long>(number));
  }
  case Tag::text:
    return takeText();
  case Tag::endOfEntry: // acted on when the next element is read
    return;
  case Tag::hexadecimal:
    _hexadecimal = true;
    return;
  case Tag::decimal:
    _hexadecimal = false;
    return;
  }
}

// Text pieces have a tighter limit than numbers: the room that remains is taken as the size of the whole text, so that
// a piece adds nothing once the text is half full.
void TextStream::takeText() {
  const size_t length = _text.size();
  const size_t size = kMaximumText - length;
  size_t room = size > length + 1 ? size - length - 1 : 0;
  while (const uint8_t character = take()) {
    if (room > 0) {
      _text.push_back(static_cast<char>(character));
      --room;
    }
  }
}

void TextStream::appendNumber(const char* format, ...) {
  char piece[32];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(piece, sizeof piece, format, arguments);
  va_end(arguments);
  _text.append(piece, 0, kMaximumText - _text.size());
}
