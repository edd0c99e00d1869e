// Fills dictionaries, and serialises a property list into a state record.
#include "StateData.h"

#include "Owned.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

static_assert(sizeof(os_state_data_s) == 200 && offsetof(os_state_data_s, title) == 136,
              "the system reads the record by these offsets");
static_assert(sizeof(os_state_hints_s) == 24 && offsetof(os_state_hints_s, api) == 16, "and fills the hints by these");

namespace {

void setIfCreated(CFMutableDictionaryRef dictionary, CFStringRef key, OwnedCF<CFTypeRef> value) {
  if (value) {
    CFDictionarySetValue(dictionary, key, value.get());
  }
}

} // namespace

void dictSetSInt32(CFMutableDictionaryRef dictionary, CFStringRef key, uint32_t value) {
  setIfCreated(dictionary, key, OwnedCF<CFTypeRef>(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &value)));
}

void dictSetSInt64(CFMutableDictionaryRef dictionary, CFStringRef key, uint64_t value) {
  setIfCreated(dictionary, key, OwnedCF<CFTypeRef>(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &value)));
}

void dictSetCString(CFMutableDictionaryRef dictionary, CFStringRef key, const char* text) {
  setIfCreated(dictionary, key,
               OwnedCF<CFTypeRef>(CFStringCreateWithCString(kCFAllocatorDefault, text, kCFStringEncodingASCII)));
}

CFMutableDictionaryRef createDictionary() {
  return CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                   &kCFTypeDictionaryValueCallBacks);
}

os_state_data_s* copyStateData(const void* propertyList, const char* title) {
  const OwnedCF<CFDataRef> data(
      CFPropertyListCreateData(kCFAllocatorDefault, propertyList, kCFPropertyListBinaryFormat_v1_0, 0, nullptr));
  if (!data) {
    return nullptr;
  }
  const auto size = static_cast<size_t>(CFDataGetLength(data.get()));
  auto* record = static_cast<os_state_data_s*>(std::calloc(1, sizeof(os_state_data_s) + size));
  if (record != nullptr) {
    record->type = OS_STATE_DATA_SERIALIZED_PROPERTY_LIST;
    record->dataSize = static_cast<uint32_t>(size);
    std::snprintf(record->title, sizeof record->title, "%s", title);
    std::memcpy(record->data, CFDataGetBytePtr(data.get()), size);
  }
  return record;
}
