// Captures a modelled device: hosts the plug-in, registers the device's services and asks every state handler.
#pragma once

#include <host/bundle.h>
#include <host/model/device_model.h>
#include <velstat/capture/result.h>

#include <cstdint>

namespace vel::stat {

// Returns the result without `model`, `folder` and `findings`. Throws Error.
CaptureResult captureModel(const host::DeviceModel& model, host::Bundle bundle, std::uint32_t api);

} // namespace vel::stat
