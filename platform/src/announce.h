// What every platform function that can be recorded or made to fail calls first: it records the call and checks the
// failure plans. Hosts and tests use control/calls.h.
#pragma once

#include <CoreFoundation/CFBase.h>

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>

namespace vel::platform {

// What is watched for, as bits; 0 most of the time: announcing then costs one relaxed load.
inline constexpr std::uint8_t watchingCalls = 1;   // calls are recorded, or a failure plan is set
inline constexpr std::uint8_t watchingDetails = 2; // everything is recorded
extern std::atomic<std::uint8_t> watching;

// A handle to a registry entry, which is described by its name.
struct EntryHandle {
  std::uint32_t handle;
};

// How an argument is written in a recorded call.
std::string describe(const char* text);    // unchanged
std::string describe(CFStringRef string);  // unchanged
std::string describe(CFUUIDRef uuid);      // canonical text
std::string describe(std::uint32_t value); // hexadecimal (0x2, 0), as usages, selectors and options are written
std::string describe(std::uint64_t value); // decimal, as sizes and registry ids are written
std::string describe(std::int32_t value);
std::string describe(CFIndex value);
std::string describe(CFAllocatorRef allocator); // "default", "system" or "other"
std::string describe(CFNumberRef number);       // decimal, cut to an integer
std::string describe(EntryHandle entry);        // "none" for what is not a handle

// An argument that only a recording of everything shows.
template <class T>
struct Detail {
  T value;
};
template <class T>
Detail(T) -> Detail<T>;

template <class Argument>
void addArgument(std::string& text, const Argument& argument) {
  text += text.empty() ? "" : ", ";
  text += describe(argument);
}
template <class T>
void addArgument(std::string& text, const Detail<T>& detail) {
  if ((watching.load(std::memory_order_relaxed) & watchingDetails) != 0) {
    addArgument(text, detail.value);
  }
}

// Records "function(arguments)". Returns the code with which the call must fail, if the plan says so; a function that
// returns no code then returns null, 0 or false. `canFail` is false for functions that cannot fail.
std::optional<std::int32_t> announceCall(const char* function, bool canFail, std::string arguments);

// The rare case, not inlined, so that the functions that announce need no stack space for a text.
template <class... Arguments>
[[gnu::cold, gnu::noinline]] std::optional<std::int32_t> announceWatched(const char* function, bool canFail,
                                                                         const Arguments&... arguments) {
  std::string text;
  (addArgument(text, arguments), ...);
  return announceCall(function, canFail, std::move(text));
}

template <class... Arguments>
std::optional<std::int32_t> announce(const char* function, const Arguments&... arguments) {
  if (watching.load(std::memory_order_relaxed) == 0) {
    return std::nullopt;
  }
  return announceWatched(function, true, arguments...);
}

// For functions that cannot fail.
template <class... Arguments>
void note(const char* function, const Arguments&... arguments) {
  if (watching.load(std::memory_order_relaxed) != 0) {
    announceWatched(function, false, arguments...);
  }
}

// For functions that cannot fail and that only a recording of everything shows.
template <class... Arguments>
void noteDetail(const char* function, const Arguments&... arguments) {
  if ((watching.load(std::memory_order_relaxed) & watchingDetails) != 0) {
    note(function, arguments...);
  }
}

} // namespace vel::platform
