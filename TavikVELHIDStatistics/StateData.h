// What all state reports share: filling dictionaries, and packing a property list as a state record.
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <os/state.h>

#include <cstdint>

// Each creates the value, sets it under the key and releases its own reference. A value that cannot be created is
// silently not set. [plugin queue]
void dictSetSInt32(CFMutableDictionaryRef dictionary, CFStringRef key, uint32_t value);
void dictSetSInt64(CFMutableDictionaryRef dictionary, CFStringRef key, uint64_t value);
void dictSetCString(CFMutableDictionaryRef dictionary, CFStringRef key, const char* text); // ASCII

// An empty dictionary of CF objects, or null. [create: caller releases]
CFMutableDictionaryRef createDictionary();

// A state record with the property list in binary format and the title, cut to 63 characters; null when the list
// cannot be serialised or there is no memory. The caller keeps the property list. [create: caller frees]
os_state_data_s* copyStateData(const void* propertyList, const char* title);
