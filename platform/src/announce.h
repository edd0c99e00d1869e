// The choke point through which every platform function of interest passes before it does anything: it records the
// call and asks the failure plan. See control/calls.h for the other side.
#pragma once

#include <CoreFoundation/CFBase.h>

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>

namespace vel::platform {

// True while anybody records or a failure plan is set; otherwise announcing costs one relaxed load.
extern std::atomic<bool> watching;

// How an argument is written in a recorded call.
std::string describe(const char* text);    // unchanged
std::string describe(CFStringRef string);  // unchanged
std::string describe(CFUUIDRef uuid);      // canonical text
std::string describe(std::uint32_t value); // hexadecimal (0x2, 0), as usages, selectors and options are written
std::string describe(std::uint64_t value); // decimal, as sizes and registry ids are written
std::string describe(std::int32_t value);
std::string describe(CFIndex value);

// Records "function(arguments)". Returns the code with which the call must fail, if the plan says so; a function that
// returns no code then answers with null, 0 or false. `canFail` is false for functions that cannot fail.
std::optional<std::int32_t> announceCall(const char* function, bool canFail, std::string arguments);

template <class... Arguments>
std::optional<std::int32_t> announce(const char* function, const Arguments&... arguments) {
  if (!watching.load(std::memory_order_relaxed)) {
    return std::nullopt;
  }
  std::string text;
  ((text += text.empty() ? "" : ", ", text += describe(arguments)), ...);
  return announceCall(function, true, std::move(text));
}

// For functions that cannot fail.
template <class... Arguments>
void note(const char* function, const Arguments&... arguments) {
  if (watching.load(std::memory_order_relaxed)) {
    std::string text;
    ((text += text.empty() ? "" : ", ", text += describe(arguments)), ...);
    announceCall(function, false, std::move(text));
  }
}

} // namespace vel::platform
