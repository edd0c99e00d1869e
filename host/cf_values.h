// Converts trees into CF objects, for the properties of services and registry entries.
#pragma once

#include <control/ref.h>
#include <formats/value.h>

#include <CoreFoundation/CoreFoundation.h>

namespace vel::host {

// Makes an object of the same type; whole numbers become 64-bit numbers. The result is never null: a string that is not
// UTF-8 throws Error.
control::Ref<CFTypeRef> makeObject(const formats::Value& value);
control::Ref<CFDictionaryRef> makeDictionary(const formats::Dictionary& dictionary);

} // namespace vel::host
