// Reference counts, types and misuse checks, and the functions of CFBase.h.
#include "cf/object.h"

#include "announce.h"
#include "cf/printable.h"
#include "control/cf.h"
#include "control/ref.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <new>
#include <string>

namespace vel::platform {
namespace {

// Types are added while the library is loaded, on one thread, and never removed.
constinit Type* types = nullptr;

} // namespace

void misuse(const char* function, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  char text[1024];
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  try {
    std::fprintf(stderr, "%s: %s\n", function, printable(text).c_str());
  } catch (const std::bad_alloc&) {
    std::fprintf(stderr, "%s: out of memory\n", function);
  }
  std::abort();
}

Type::Type(const char* name) : name_(name), next_(types), id_(types == nullptr ? 1 : types->id_ + 1) {
  types = this;
}

const Type* Type::first() {
  return types;
}

Object::~Object() {
  type_->live_.fetch_sub(1, std::memory_order_relaxed);
  count_.store(poison, std::memory_order_relaxed);
}

void Object::retain() const {
  std::uint32_t count = count_.load(std::memory_order_relaxed);
  if (count == constant) {
    return;
  }
  count = count_.fetch_add(1, std::memory_order_relaxed);
  if (count - 1 >= most) { // 0 while it is being destroyed, the poison afterwards
    misuse("CFRetain", "object %p has been destroyed", static_cast<const void*>(this));
  }
}

void Object::release() const {
  std::uint32_t count = count_.load(std::memory_order_relaxed);
  if (count == constant) {
    return;
  }
  count = count_.fetch_sub(1, std::memory_order_acq_rel);
  if (count - 1 >= most) {
    misuse("CFRelease", "object %p has been destroyed: one release too many", static_cast<const void*>(this));
  }
  if (count == 1) {
    CFAllocatorRef from = allocator_;
    auto* self = const_cast<Object*>(this);
    self->~Object();
    deallocate(from, self);
  }
}

std::size_t Object::retainCount() const {
  const std::uint32_t count = count_.load(std::memory_order_relaxed);
  return count == constant ? std::numeric_limits<std::size_t>::max() : count;
}

bool Object::destroyed() const {
  return count_.load(std::memory_order_relaxed) == poison;
}

void Object::makeConstant() const {
  count_.store(constant, std::memory_order_relaxed);
  type_->live_.fetch_sub(1, std::memory_order_relaxed);
}

bool Object::equals(const Object& other) const {
  return this == &other;
}

CFHashCode Object::hash() const {
  return reinterpret_cast<CFHashCode>(this) >> 4;
}

} // namespace vel::platform

using namespace vel::platform;

CFTypeRef CFRetain(CFTypeRef object) {
  objectAt(object, "CFRetain").retain();
  return object;
}

void CFRelease(CFTypeRef object) {
  const Object& released = objectAt(object, "CFRelease");
  noteDetail("CFRelease", released.type().name());
  released.release();
}

Boolean CFEqual(CFTypeRef a, CFTypeRef b) {
  const Object& left = objectAt(a, "CFEqual");
  const Object& right = objectAt(b, "CFEqual");
  return &left == &right || (&left.type() == &right.type() && left.equals(right));
}

CFHashCode CFHash(CFTypeRef object) {
  return objectAt(object, "CFHash").hash();
}

CFTypeID CFGetTypeID(CFTypeRef object) {
  return objectAt(object, "CFGetTypeID").type().id();
}

namespace vel::control {

void dropReference(CFTypeRef object) {
  objectAt(object, "CFRelease").release();
}

std::map<std::string, std::size_t> liveObjects() {
  std::map<std::string, std::size_t> counts;
  for (const Type* type = Type::first(); type != nullptr; type = type->next()) {
    if (const std::size_t live = type->live(); live != 0) {
      counts.emplace(type->name(), live);
    }
  }
  return counts;
}

std::size_t retainCount(CFTypeRef object) {
  return objectAt(object, "retainCount").retainCount();
}

} // namespace vel::control
