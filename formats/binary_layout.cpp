// Checks the head and the trailer of a binary property list before anything uses their numbers.
#include "formats/binary_layout.h"

#include <formats/binary_values.h>

namespace vel::formats {

namespace {

constexpr std::size_t headSize = 8;
constexpr std::size_t trailerSize = 32;

void checkHead(const BinarySource& source) {
  if (source.size() < headSize || source.textAt(0, 6) != "bplist") {
    source.fail(0, "not a binary property list");
  }
  if (source.textAt(6, 2) != "00") {
    source.fail(6, "bytes {:02x} {:02x} as the version of the binary format, where only 30 30 (\"00\") is read",
                source.byteAt(6), source.byteAt(7));
  }
  if (source.size() < headSize + trailerSize) {
    source.fail(source.size(), "ends before a binary property list has its trailer of {} bytes", trailerSize);
  }
}

std::size_t widthAt(const BinarySource& source, std::size_t offset, const char* what) {
  const unsigned width = source.byteAt(offset);
  if (width < 1 || width > 8) {
    source.fail(offset, "{} of {} bytes, where 1 to 8 are possible", what, width);
  }
  return width;
}

} // namespace

std::uint64_t BinarySource::numberAt(std::size_t offset, std::size_t width) const {
  return bigEndian(part(offset, width));
}

std::string_view BinarySource::textAt(std::size_t offset, std::size_t length) const {
  return {reinterpret_cast<const char*>(bytes_.data()) + offset, length};
}

std::string BinarySource::inFile(std::uint64_t offset) const {
  __extension__ using Wide = unsigned __int128; // the sum may need 65 bits
  return fmt::format("{}", Wide{offset} + base_);
}

std::size_t BinaryLayout::offsetOf(std::uint64_t object, std::size_t referrer, const BinarySource& source) const {
  if (object >= objects) {
    source.fail(referrer, "reference to object {} of {}", object, objects);
  }
  const std::size_t entry = objectsEnd + static_cast<std::size_t>(object) * offsetWidth;
  const std::uint64_t offset = source.numberAt(entry, offsetWidth);
  if (offset < headSize || offset >= objectsEnd) {
    source.fail(entry, "object {} at offset {}, where the objects lie from {} to {}", object, source.inFile(offset),
                source.inFile(headSize), source.inFile(objectsEnd));
  }
  return static_cast<std::size_t>(offset);
}

BinaryLayout readBinaryLayout(const BinarySource& source) {
  checkHead(source);
  const std::size_t trailer = source.size() - trailerSize;
  BinaryLayout layout;
  layout.offsetWidth = widthAt(source, trailer + 6, "offsets");
  layout.referenceWidth = widthAt(source, trailer + 7, "references to objects");
  layout.objects = source.numberAt(trailer + 8, 8);
  layout.topReference = trailer + 16;
  layout.topObject = source.numberAt(layout.topReference, 8);
  const std::uint64_t table = source.numberAt(trailer + 24, 8);
  if (table < headSize || table > trailer) {
    source.fail(trailer + 24, "offset table at offset {}, where head and trailer leave {} to {}", source.inFile(table),
                source.inFile(headSize), source.inFile(trailer));
  }
  layout.objectsEnd = static_cast<std::size_t>(table);
  const std::size_t room = (trailer - layout.objectsEnd) / layout.offsetWidth;
  if (layout.objects > room) {
    source.fail(trailer + 8, "{} objects, where the offset table has room for {}", layout.objects, room);
  }
  return layout;
}

} // namespace vel::formats
