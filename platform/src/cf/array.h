// Arrays, of CF objects or of anything else.
#pragma once

#include "cf/object.h"

#include <CoreFoundation/CFArray.h>

#include <span>
#include <vector>

struct CFArrayObject final : vel::platform::Object {
  static vel::platform::Type kind;

  CFArrayObject(CFAllocatorRef allocator, CFIndex capacity, const CFArrayCallBacks* callBacks);
  ~CFArrayObject() override;

  bool equals(const Object& other) const override;
  CFHashCode hash() const override;

  void append(const void* value);
  std::span<const void* const> values() const { return values_; }
  // Whether the values are known to be CF objects.
  bool holdsObjects() const { return callBacks_.retain == kCFTypeArrayCallBacks.retain; }

private:
  CFArrayCallBacks callBacks_;
  std::vector<const void*, vel::platform::Storage<const void*>> values_;
};
