// A table of sensors' records, one line each.
#pragma once

#include <host/session.h>
#include <velstat/text/output.h>
#include <velstat/text/sink.h>

#include <vector>

namespace vel::stat {

// Appends the table and returns true; or appends nothing and returns false if the records are not dictionaries, or have
// none of the columns.
bool appendSensors(Sink& out, const std::vector<const host::CapturedRecord*>& records, const Style& style);

} // namespace vel::stat
