// State that a service keeps until the process ends.
#pragma once

namespace vel::platform {

// The one T of the process, made at first use and never destroyed: queue threads, exit handlers and a bundle that is
// still loaded may call a service until the very end.
template <class T>
T& immortal() {
  static T* const one = new T;
  return *one;
}

} // namespace vel::platform
