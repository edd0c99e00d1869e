#include "sources/recognise.h"

#include <profile/read_line.h>
#include <sources/renderer.h>

#include <fmt/format.h>

#include <algorithm>
#include <cstring>

namespace vel::sources {

namespace {

using namespace std::string_view_literals;

// Files that are passed by mistake, with magic numbers that no record is likely to begin with.
struct Other {
  std::string_view beginning;
  const char* name;
};
constexpr Other others[] = {
    {"\x89PNG\r\n\x1a\n"sv, "a PNG picture"},
    {"\xFF\xD8\xFF"sv, "a JPEG picture"},
    {"GIF8"sv, "a GIF picture"},
    {"\x7F"
     "ELF"sv,
     "a program (ELF)"},
    {"\x1F\x8B\x08"sv, "compressed with gzip"},
    {"BZh"sv, "compressed with bzip2"},
    {"\xFD"
     "7zXZ\0"sv,
     "compressed with xz"},
    {"\x28\xB5\x2F\xFD"sv, "compressed with zstd"},
    {"PK\x03\x04"sv, "a ZIP archive"},
    {"%PDF-"sv, "a PDF document"},
    {"SQLite format 3\0"sv, "an SQLite database"},
    {"RIFF"sv, "a RIFF file, such as a sound"},
    {"\xFF\xFE"sv, "text in UTF-16"},
};

constexpr std::size_t stateHeaderSize = 200;

// A state record begins with type 1, and has a property list after the header or a data size that fits the file.
bool isStateRecord(std::string_view head, std::optional<std::uint64_t> size) {
  if (!head.starts_with(stateRecordBeginning) || head.size() < stateHeaderSize) {
    return false;
  }
  std::uint32_t dataSize = 0;
  std::memcpy(&dataSize, head.data() + 4, sizeof dataSize); // little-endian, like the hosts that the decoder builds for
  return head.substr(stateHeaderSize).starts_with("bplist") || (size && *size == stateHeaderSize + dataSize);
}

bool isXML(std::string_view head) {
  constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
  if (head.starts_with(byteOrderMark)) {
    head.remove_prefix(byteOrderMark.size());
  }
  return head.starts_with("<?xml") || head.starts_with("<plist") || head.starts_with("<!DOCTYPE plist");
}

bool hasLines(std::string_view text) {
  return text.find(profile::line_beginning) != std::string_view::npos ||
         text.find(profile::dump_beginning) != std::string_view::npos;
}

} // namespace

bool isText(std::string_view bytes) {
  std::size_t controls = 0;
  std::size_t high = 0;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    controls += (byte < 0x20 && c != '\n' && c != '\r' && c != '\t' && c != '\x1b') || byte == 0x7F;
    high += byte >= 0x80;
  }
  // In records, a third to nine tenths of the bytes are NULs and small numbers. Of random bytes, half are above ASCII.
  return controls * 50 <= bytes.size() && high * 3 <= bytes.size();
}

Recognised recognise(std::string_view head, bool whole, std::optional<std::uint64_t> size) {
  if (head.empty()) {
    return {Kind::records, {}};
  }
  if (head.starts_with("bplist") || isXML(head)) {
    return {Kind::propertyList, {}};
  }
  if (isStateRecord(head, size)) {
    return {Kind::stateRecord, {}};
  }
  const std::string_view csv = csvHeaderBeginning(); // a pipe may not have given all of it yet
  if (head.starts_with(csv.substr(0, std::min(head.size(), csv.size()))) && head.size() > 8) {
    return {Kind::csvLines, {}};
  }
  if (head.starts_with("{\"category\":\"")) {
    return {Kind::jsonLines, {}};
  }
  for (const Other& other : others) {
    if (head.starts_with(other.beginning)) {
      return {Kind::unknown, other.name};
    }
  }
  // A framed text begins with its length in four bytes.
  const std::string_view framed = head.substr(std::min<std::size_t>(head.size(), 4));
  if (head.starts_with(profile::line_beginning) || framed.starts_with(profile::line_beginning)) {
    return {Kind::lines, {}};
  }
  if (isText(head)) {
    if (whole && !hasLines(head)) {
      return {Kind::unknown, "text without lines of profile records"};
    }
    return {Kind::lines, {}};
  }
  return {Kind::records, {}};
}

} // namespace vel::sources
