// What a device is doing, by name. Scenes repeat for as long as records are asked for.
#pragma once

#include <synthetic/recorder.h>

#include <span>
#include <string_view>

namespace vel::synthetic {

struct Scene {
  std::string_view name;              // as in device models and `velstat generate`
  void (*record)(Recorder& recorder); // records one round and advances the recorder's clock
};

// All scenes, in the order of the documentation. [any thread]
std::span<const Scene> scenes();
// The scene with this name; null if there is none. [any thread]
const Scene* findScene(std::string_view name);
// The scene of a device in everyday use, with every flow at its usual frequency. [any thread]
const Scene& usualMix();

} // namespace vel::synthetic
