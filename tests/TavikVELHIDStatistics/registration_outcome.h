// What a registration makes of a service: what it asked of the user clients, and whether the service is kept.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace vel::test {

using Calls = std::vector<std::string>;

// What driver and device are asked, each with its plug-in, when nothing fails,
inline const Calls kDriverCalls = {"QueryInterface", "open(0)", "Release"};
inline const Calls kDeviceCalls = {"QueryInterface", "open(0)", "Release"};
inline const Calls kAnalyticsDeviceCalls = {"QueryInterface", "open(0)", "setDispatchQueue", "setDataCallback",
                                            "Release"};
// and when they have no interface: the driver's plug-in is then left alone, the device's released.
inline const Calls kForgotten = {"QueryInterface"};
inline const Calls kReleased = {"QueryInterface", "Release"};

struct Outcome {
  bool kept;
  std::size_t references; // to the registry that stay
  Calls driverCalls;
  Calls deviceCalls;
};
inline Outcome kept(const Calls& driverCalls, const Calls& deviceCalls) {
  return {true, 2, driverCalls, deviceCalls};
}
// The context is deleted, but nothing that it held by then is given back.
inline Outcome abandoned(std::size_t references, const Calls& driverCalls = {}, const Calls& deviceCalls = {}) {
  return {false, references, driverCalls, deviceCalls};
}

} // namespace vel::test
