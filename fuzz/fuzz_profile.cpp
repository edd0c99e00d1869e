// Any bytes as profile records: the engine writes the same text as the naive rendering, into a block of exactly the
// size that it requires, and the fields are inside the record.
#include "profile/KIPLogDecoder.h"
#include "profile/fields.h"
#include "profile/render.h"
#include "support/naive_profile.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

using namespace vel::profile;

void require(bool holds, const char* what, const std::string& expected, std::string_view actual) {
  if (!holds) {
    std::fprintf(stderr, "%s\n%s\n%.*s\n", what, expected.c_str(), static_cast<int>(actual.size()), actual.data());
    std::abort();
  }
}

void check(const unsigned char* record) {
  const std::string expected = naive::to_string(record);
  const std::unique_ptr<char[]> block(new char[frame_capacity]);
  BulkRenderer renderer({}, Framing::none);
  const std::string_view bulk(block.get(), renderer.render(record, 1, block.get()));
  require(bulk == expected, "bulk differs", expected, bulk);

  _VelProfileReport report;
  std::memcpy(&report, record, sizeof report);
  const std::string single = KIPLogDecoder::to_string(report);
  require(single == expected, "to_string differs", expected, single);

  FieldCursor cursor(record);
  for (Field field; cursor.next(field);) {
    const bool named = field.row->kind == FieldKind::subtype_name;
    const auto* bytes = reinterpret_cast<const unsigned char*>(field.bytes.data());
    const bool inside = field.bytes.empty() || (bytes >= record + 16 && bytes + field.bytes.size() <= record + 48);
    require(named || inside, "a field leaves the record", expected, field.row->key);
  }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  for (std::size_t at = 0; at + 48 <= size; at += 48) {
    // A separate allocation, so that AddressSanitizer sees a read beyond the record.
    const std::unique_ptr<unsigned char[]> record(new unsigned char[48]);
    std::memcpy(record.get(), data + at, 48);
    check(record.get());
  }
  return 0;
}
