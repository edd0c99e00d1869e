// One reference that its scope gives back: to a CF object, a registry object, a connection.
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>

#include <utility>

// Holds a reference that is its own, or none (null, or 0). Where several end together the last one that was declared is
// given back first.
template <class Reference, auto giveBack>
class Owned {
public:
  Owned() = default;
  // Takes over what a create or copy function returned.
  explicit Owned(Reference reference) : _reference(reference) {}
  Owned(Owned&& other) noexcept : _reference(other.release()) {}
  Owned& operator=(Owned&&) = delete;
  ~Owned() { reset(); }

  Reference get() const { return _reference; }
  explicit operator bool() const { return _reference != Reference{}; }
  // Where a call stores a reference. One that is already held is overwritten and not given back.
  Reference* out() { return &_reference; }
  // Leaves the reference to the caller.
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
