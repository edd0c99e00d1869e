// One owned reference to a CF object.
#pragma once

#include <CoreFoundation/CFBase.h>

#include <utility>

namespace vel::control {

// Like CFRelease, but not recorded (see calls.h): for references of a host, a test or the platform itself.
// [any thread]
void dropReference(CFTypeRef object);

template <class T>
class Ref {
public:
  Ref() = default;
  // Takes over a reference that the caller owns (results of Create and Copy).
  static Ref adopt(T object) {
    Ref ref;
    ref.object_ = object;
    return ref;
  }
  // Adds a reference (results of Get).
  static Ref share(T object) {
    if (object != nullptr) {
      CFRetain(object);
    }
    return adopt(object);
  }
  Ref(const Ref& other) : Ref(share(other.object_)) {}
  Ref(Ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  Ref& operator=(Ref other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~Ref() {
    if (object_ != nullptr) {
      dropReference(object_);
    }
  }

  T get() const { return object_; }
  explicit operator bool() const { return object_ != nullptr; }
  // Gives the reference up to the caller.
  [[nodiscard]] T release() { return std::exchange(object_, nullptr); }

private:
  T object_ = nullptr;
};

} // namespace vel::control
