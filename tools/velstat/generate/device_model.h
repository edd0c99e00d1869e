// The model of one device of a synthetic fleet: the built-in one, with this device's logs, faults and counts.
#pragma once

#include <host/model/device_model.h>
#include <synthetic/population.h>
#include <velstat/generate/device_log.h>

#include <string>

namespace vel::stat {

// Statistics and metrics agree with the logs, as those of a real device do.
host::DeviceModel deviceModel(const std::string& name, const synthetic::Member& member, const DeviceLog& log);

} // namespace vel::stat
