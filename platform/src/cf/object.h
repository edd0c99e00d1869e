// What all CF objects have in common: a type, an allocator and a reference count that notices misuse.
//
// A class of objects is a final subclass of Object with a static `Type kind`; its instances are made by create() and
// destroyed by their last CFRelease. References of the C interface (CFTypeRef) are pointers to Object.
#pragma once

#include "cf/allocator.h"

#include <CoreFoundation/CFBase.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <new>
#include <utility>

namespace vel::platform {

// Ends the process with "function: ..." on stderr: the caller broke the rules of the interface.
[[noreturn]] void misuse(const char* function, const char* format, ...) __attribute__((format(printf, 2, 3)));

// A class of objects. Never destroyed; its constructor adds it to the list of all types.
class Type {
public:
  explicit Type(const char* name);
  Type(const Type&) = delete;
  Type& operator=(const Type&) = delete;

  // Walks the list of all types.
  static const Type* first();
  const Type* next() const { return next_; }

  CFTypeID id() const { return id_; }
  const char* name() const { return name_; }
  std::size_t live() const { return live_.load(std::memory_order_relaxed); }

private:
  friend class Object;
  const char* name_;
  Type* next_;
  CFTypeID id_;
  std::atomic<std::size_t> live_ = 0;
};

class Object {
public:
  Object(const Object&) = delete;
  Object& operator=(const Object&) = delete;

  const Type& type() const { return *type_; }
  CFAllocatorRef allocator() const { return allocator_; }

  // [any thread]
  void retain() const;
  // The last release destroys the object and gives its memory back to its allocator. [any thread]
  void release() const;
  // References held now; the largest value for constants.
  std::size_t retainCount() const;
  bool destroyed() const;
  // Makes a new object a constant. Call it before the object is shared.
  void makeConstant() const;

  // `other` is another object of the same type.
  virtual bool equals(const Object& other) const;
  virtual CFHashCode hash() const;

protected:
  Object(Type& type, CFAllocatorRef allocator) : allocator_(allocator), type_(&type) {
    type.live_.fetch_add(1, std::memory_order_relaxed);
  }
  // A constant: never counted and never destroyed.
  struct Constant {};
  constexpr Object(Type& type, CFAllocatorRef allocator, Constant)
      : allocator_(allocator), count_(constant), type_(&type) {}
  virtual ~Object();

private:
  // Counts run from 1 to `most`; greater values mark objects without a count.
  static constexpr std::uint32_t most = 0x7FFFFFFF;
  static constexpr std::uint32_t constant = 0xC0000000;
  static constexpr std::uint32_t poison = 0xDEADDEAD;

  CFAllocatorRef allocator_;
  // At offset 16: the heap overwrites the first 16 bytes of freed memory, and the poison must stay readable.
  mutable std::atomic<std::uint32_t> count_ = 1;
  Type* type_;
};

// A new object followed by `extra` bytes, or null when the allocator has no memory for it.
template <class T, class... Arguments>
T* create(CFAllocatorRef allocator, std::size_t extra, Arguments&&... arguments) {
  void* memory = allocate(allocator, sizeof(T) + extra);
  if (memory == nullptr) {
    return nullptr;
  }
  try {
    return new (memory) T(allocator, std::forward<Arguments>(arguments)...);
  } catch (const std::bad_alloc&) {
    deallocate(allocator, memory);
    return nullptr;
  }
}

// Static storage of a constant object: constructed at compile time, never destroyed, so that it outlives every user.
template <class T>
union Static {
  template <class... Arguments>
  constexpr explicit Static(Arguments&&... arguments) : object(std::forward<Arguments>(arguments)...) {}
  constexpr ~Static() {}
  T object;
};

// The object of a reference passed to `function`; null or a destroyed object is misuse.
inline const Object& objectAt(CFTypeRef reference, const char* function) {
  if (reference == nullptr) {
    misuse(function, "null in place of an object");
  }
  const auto& object = *static_cast<const Object*>(reference);
  if (object.destroyed()) {
    misuse(function, "object %p has been destroyed", reference);
  }
  return object;
}

// The same for one type; an object of another type is misuse, too.
template <class T>
T& expect(T* reference, const char* function) {
  const Object& object = objectAt(reference, function);
  if (&object.type() != &T::kind) {
    misuse(function, "object %p is a %s, not a %s", static_cast<const void*>(reference), object.type().name(),
           T::kind.name());
  }
  return *reference;
}

// The object as a T, or null when it is of another type.
template <class T>
const T* as(const Object& object) {
  return &object.type() == &T::kind ? static_cast<const T*>(&object) : nullptr;
}

} // namespace vel::platform
