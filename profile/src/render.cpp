// Renders blocks of records.
#include "profile/render.h"

#include "copy_bytes.h"
#include "engine.h"

#include <cstring>

namespace vel::profile {

BulkRenderer::BulkRenderer(const TimePolicy& times, Framing framing) noexcept : wall_(times.sync), framing_(framing) {
  char scratch[sizeof ending_ + 16];
  if (times.boot) {
    ending_length_ = static_cast<std::uint8_t>(write_boot(scratch, *times.boot) - scratch);
    std::memcpy(ending_, scratch, ending_length_);
  }
  ending_[ending_length_++] = '}';
  if (framing_ == Framing::newline) {
    ending_[ending_length_++] = '\n';
  }
}

char* BulkRenderer::render_one(const unsigned char* record, char* p) noexcept {
  p = write_head(p, record);
  p = write_payload(p, record, category(record));
  p = write_tail(p, record);
  if (wall_) {
    p = write_calendar(p, wall_->text(timestamp(record)));
  }
  copy_bytes(p, ending_, sizeof ending_);
  return p + ending_length_;
}

std::size_t BulkRenderer::render(const void* records, std::size_t count, char* out) noexcept {
  const unsigned char* record = static_cast<const unsigned char*>(records);
  char* p = out;
  for (std::size_t i = 0; i < count; ++i, record += sizeof(_VelProfileReport)) {
    if (framing_ != Framing::length_prefix) {
      p = render_one(record, p);
      continue;
    }
    char* const text = p + sizeof(std::uint32_t);
    char* const end = render_one(record, text);
    const std::uint32_t length = static_cast<std::uint32_t>(end - text);
    copy_bytes(p, &length, sizeof length); // little-endian, as digits.h asserts
    p = end;
  }
  return static_cast<std::size_t>(p - out);
}

} // namespace vel::profile
