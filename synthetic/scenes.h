// What a device is doing, by name. Scenes repeat for as long as records are asked for.
#pragma once

#include <synthetic/recorder.h>

#include <span>
#include <string_view>

namespace vel::synthetic {

struct Scene {
  std::string_view name;
  void (*record)(Recorder& recorder); // one round of it
};

// [any thread]
std::span<const Scene> scenes();
const Scene* findScene(std::string_view name); // null when there is none
// The flows that a device in use may show, each as often as it may.
const Scene& usualMix();

} // namespace vel::synthetic
