// Numbers and booleans, and the conversions between number types.
#include "cf/number.h"

#include "announce.h"
#include "cf/make.h"

#include <cmath>
#include <cstring>
#include <functional>
#include <optional>

using namespace vel::platform;

Type CFNumberObject::kind("CFNumber");
Type CFBooleanObject::kind("CFBoolean");

namespace {

constinit Static<CFBooleanObject> yes(true);
constinit Static<CFBooleanObject> no(false);

// The limits of 64-bit integers as doubles: the smallest one, and the first beyond the largest.
constexpr double int64Begin = -0x1p63;
constexpr double int64End = 0x1p63;

// The value of a double as an integer, if it is an integer of 64 bits.
std::optional<std::int64_t> exactInteger(double value) {
  if (!(value >= int64Begin && value < int64End) || value != std::trunc(value)) {
    return std::nullopt;
  }
  return static_cast<std::int64_t>(value);
}

// A double cut to an integer, and to the limits of 64 bits; NaN is 0.
std::int64_t cutToInteger(double value) {
  if (std::isnan(value)) {
    return 0;
  }
  if (value >= int64End) {
    return INT64_MAX;
  }
  return value < int64Begin ? INT64_MIN : static_cast<std::int64_t>(value);
}

template <class T>
T load(const void* from) {
  T value;
  std::memcpy(&value, from, sizeof value);
  return value;
}

template <class T>
void store(void* to, T value) {
  std::memcpy(to, &value, sizeof value);
}

} // namespace

const CFBooleanRef kCFBooleanTrue = &yes.object;
const CFBooleanRef kCFBooleanFalse = &no.object;

bool CFNumberObject::equals(const Object& other) const {
  const auto& number = static_cast<const CFNumberObject&>(other);
  if (isReal() && number.isReal()) {
    return real_ == number.real_;
  }
  if (!isReal() && !number.isReal()) {
    return integer_ == number.integer_;
  }
  return isReal() ? exactInteger(real_) == number.integer_ : exactInteger(number.real_) == integer_;
}

CFHashCode CFNumberObject::hash() const {
  if (!isReal()) {
    return std::hash<std::int64_t>()(integer_);
  }
  const std::optional<std::int64_t> integer = exactInteger(real_);
  return integer ? std::hash<std::int64_t>()(*integer) : std::hash<double>()(real_);
}

namespace vel::platform {

CFNumberRef makeNumber(CFAllocatorRef allocator, std::int32_t value) {
  return create<CFNumberObject>(allocator, 0, kCFNumberSInt32Type, std::int64_t{value});
}

CFNumberRef makeNumber(CFAllocatorRef allocator, std::int64_t value) {
  return create<CFNumberObject>(allocator, 0, kCFNumberSInt64Type, value);
}

CFNumberRef makeNumber(CFAllocatorRef allocator, double value) {
  return create<CFNumberObject>(allocator, 0, value);
}

std::string describe(CFNumberRef number) {
  return std::to_string(number->isReal() ? cutToInteger(number->real()) : number->integer());
}

} // namespace vel::platform

CFTypeID CFNumberGetTypeID(void) {
  return CFNumberObject::kind.id();
}

CFNumberRef CFNumberCreate(CFAllocatorRef allocator, CFNumberType type, const void* value) {
  if (announce("CFNumberCreate", Detail{allocator}, type) || value == nullptr) {
    return nullptr;
  }
  switch (type) {
  case kCFNumberSInt32Type:
    return makeNumber(allocator, load<std::int32_t>(value));
  case kCFNumberSInt64Type:
  case kCFNumberLongLongType:
    return create<CFNumberObject>(allocator, 0, type, load<std::int64_t>(value));
  case kCFNumberDoubleType:
    return makeNumber(allocator, load<double>(value));
  default:
    return nullptr;
  }
}

CFNumberType CFNumberGetType(CFNumberRef number) {
  return expect(number, "CFNumberGetType").numberType();
}

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value) {
  const CFNumberObject& object = expect(number, "CFNumberGetValue");
  if (announce("CFNumberGetValue", Detail{number}, type) || value == nullptr) {
    return false;
  }
  if (type == kCFNumberDoubleType) {
    const double real = object.isReal() ? object.real() : static_cast<double>(object.integer());
    store(value, real);
    return object.isReal() || exactInteger(real) == object.integer();
  }
  const std::int64_t integer = object.isReal() ? cutToInteger(object.real()) : object.integer();
  const bool exact = !object.isReal() || exactInteger(object.real()) == integer;
  switch (type) {
  case kCFNumberSInt32Type: {
    const auto low = static_cast<std::int32_t>(integer);
    store(value, low);
    return exact && low == integer;
  }
  case kCFNumberSInt64Type:
  case kCFNumberLongLongType:
    store(value, integer);
    return exact;
  default:
    return false;
  }
}

CFTypeID CFBooleanGetTypeID(void) {
  return CFBooleanObject::kind.id();
}

Boolean CFBooleanGetValue(CFBooleanRef boolean) {
  return expect(boolean, "CFBooleanGetValue").value;
}
