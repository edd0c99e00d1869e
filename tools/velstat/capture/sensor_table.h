// What is told of many sensors' records: a line each.
#pragma once

#include <host/session.h>
#include <velstat/text/output.h>
#include <velstat/text/sink.h>

#include <vector>

namespace vel::stat {

// Appends the table, or nothing and answers false: for records that are no dictionaries, or have none of the members
// that it tells.
bool appendSensors(Sink& out, const std::vector<const host::CapturedRecord*>& records, const Style& style);

} // namespace vel::stat
