// Reads the header field by field and the property list after it.
#include "formats/state_record.h"

#include <formats/property_list.h>

#include <os/state.h>

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>

namespace vel::formats {

static_assert(sizeof(os_state_data_s) == recordHeaderSize && offsetof(os_state_data_s, data) == recordHeaderSize);

namespace {

std::uint32_t u32At(std::span<const std::byte> bytes, std::size_t offset) {
  std::uint32_t value = 0;
  for (std::size_t i = 4; i-- > 0;) {
    value = value << 8 | std::to_integer<std::uint32_t>(bytes[offset + i]);
  }
  return value;
}

// Text that ends at its first NUL, or at the end of its field.
std::string textAt(std::span<const std::byte> bytes, std::size_t offset, std::size_t width) {
  const auto field = bytes.subspan(offset, width);
  const auto end = std::find(field.begin(), field.end(), std::byte{0});
  std::string text;
  std::transform(field.begin(), end, std::back_inserter(text), [](std::byte b) { return static_cast<char>(b); });
  return text;
}

} // namespace

StateRecord parseStateRecord(std::span<const std::byte> bytes) {
  if (bytes.size() < recordHeaderSize) {
    throw StateRecordError(
        fmt::format("ends at offset {}: a state record has a header of {} bytes", bytes.size(), recordHeaderSize));
  }
  StateRecord record;
  record.type = u32At(bytes, offsetof(os_state_data_s, type));
  record.dataSize = u32At(bytes, offsetof(os_state_data_s, dataSize));
  record.decoderLibrary = textAt(bytes, offsetof(os_state_data_s, decoderLibrary), 64);
  record.decoderType = textAt(bytes, offsetof(os_state_data_s, decoderType), 64);
  record.title = textAt(bytes, offsetof(os_state_data_s, title), 64);
  if (record.type != OS_STATE_DATA_SERIALIZED_PROPERTY_LIST) {
    throw StateRecordError(fmt::format("offset 0: type {} is not that of a property list ({})", record.type,
                                       static_cast<int>(OS_STATE_DATA_SERIALIZED_PROPERTY_LIST)));
  }
  if (record.dataSize != bytes.size() - recordHeaderSize) {
    throw StateRecordError(fmt::format("offset 4: data size {} where {} bytes follow the header", record.dataSize,
                                       bytes.size() - recordHeaderSize));
  }
  try {
    record.value = readPropertyList(bytes.subspan(recordHeaderSize), recordHeaderSize);
  } catch (const PropertyListError& error) {
    throw StateRecordError(error.what());
  }
  return record;
}

} // namespace vel::formats
