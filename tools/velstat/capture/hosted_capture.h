// Captures a modelled device: hosts the plug-in, registers the device's services and asks every state handler.
#pragma once

#include <host/bundle.h>
#include <host/model/device_model.h>
#include <velstat/capture/result.h>

#include <cstdint>

namespace vel::stat {

// All of the result but where the model was read from, where it is written to, and what is wrong. Throws Error.
CaptureResult captureModel(const host::DeviceModel& model, host::Bundle bundle, std::uint32_t api);

} // namespace vel::stat
