// Hostile XML property lists: read or refused, and what was read is the same the second time.
#include <formats/property_list.h>

#include <cstdint>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace vel::formats;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  try {
    // Numbers that are not equal to themselves are the only values that differ.
    const Value value = readPropertyListXML(text);
    if (readPropertyListXML(text).content.index() != value.content.index()) {
      std::abort();
    }
  } catch (const PropertyListError&) {
  }
  return 0;
}
