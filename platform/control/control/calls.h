// What a plug-in calls on the platform: recorded, and made to fail on purpose.
//
// Every platform function that can fail or whose order matters announces itself here under its own name, before it
// does anything. Calls that the platform makes to itself are not announced. [any thread]
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vel::control {

// From now on remembers every call as "name(arguments)"; what was remembered before is dropped.
void startRecording();
// The calls since startRecording, oldest first; recording ends.
std::vector<std::string> stopRecording();

enum class Failing { once, onwards };

// Makes the nth call (from 1, counted from now) of the function named `function` fail, once or from then on, the way
// that function fails: with `code` if it returns one, else with null, 0 or false.
void failCall(std::string_view function, std::uint64_t nth, Failing how = Failing::once, std::int32_t code = -1);
// The same for the nth call of all functions together that can fail.
void failAnyCall(std::uint64_t nth, Failing how = Failing::once, std::int32_t code = -1);
// Forgets all failure plans. Returns whether any of them has made a call fail.
bool clearFailures();

} // namespace vel::control
