// Numbers and booleans.
#pragma once

#include "cf/object.h"

#include <CoreFoundation/CFNumber.h>

#include <cstdint>

struct CFNumberObject final : vel::platform::Object {
  static vel::platform::Type kind;

  CFNumberObject(CFAllocatorRef allocator, CFNumberType type, std::int64_t value)
      : Object(kind, allocator), type_(type), integer_(value) {}
  CFNumberObject(CFAllocatorRef allocator, double value)
      : Object(kind, allocator), type_(kCFNumberDoubleType), real_(value) {}

  bool equals(const Object& other) const override;
  CFHashCode hash() const override;

  CFNumberType numberType() const { return type_; }
  bool isReal() const { return type_ == kCFNumberDoubleType; }
  std::int64_t integer() const { return integer_; } // unless isReal()
  double real() const { return real_; }             // if isReal()

private:
  CFNumberType type_;
  union {
    std::int64_t integer_;
    double real_;
  };
};

struct CFBooleanObject final : vel::platform::Object {
  static vel::platform::Type kind;

  constexpr explicit CFBooleanObject(bool of) : Object(kind, nullptr, Constant{}), value(of) {}

  const bool value;
};
