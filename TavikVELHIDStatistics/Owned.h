// A scoped reference to a CF object, a registry object or a connection.
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>

#include <utility>

// Owns one reference, or none (null or 0), and releases it at the end of its scope. Of several in a scope, the last one
// declared is released first.
template <class Reference, auto giveBack>
class Owned {
public:
  Owned() = default;
  // Takes over the reference that a create or copy function returned.
  explicit Owned(Reference reference) : _reference(reference) {}
  Owned(Owned&& other) noexcept : _reference(other.release()) {}
  Owned& operator=(Owned&&) = delete;
  ~Owned() { reset(); }

  Reference get() const { return _reference; }
  explicit operator bool() const { return _reference != Reference{}; }
  // For calls that store a reference through a pointer. A reference already held is overwritten, not released.
  Reference* out() { return &_reference; }
  // Passes the reference to the caller.
  Reference release() { return std::exchange(_reference, Reference{}); }
  void reset() {
    if (Reference reference = release(); reference != Reference{}) {
      giveBack(reference);
    }
  }

private:
  Reference _reference{};
};

template <class Object>
using OwnedCF = Owned<Object, CFRelease>;
using OwnedIOObject = Owned<io_object_t, IOObjectRelease>;
using OwnedConnection = Owned<io_connect_t, IOServiceClose>;
