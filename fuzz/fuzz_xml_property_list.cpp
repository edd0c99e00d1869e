// Hostile XML property lists: each is read or refused, and reading it again gives a value of the same type.
#include <formats/property_list.h>

#include <cstdint>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace vel::formats;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  try {
    // Only the types are compared, because a value with NaN does not equal itself.
    const Value value = readPropertyListXML(text);
    if (readPropertyListXML(text).content.index() != value.content.index()) {
      std::abort();
    }
  } catch (const PropertyListError&) {
  }
  return 0;
}
