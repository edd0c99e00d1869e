// The plug-in's log object and the one line that every failed check writes to it.
#pragma once

#include <os/log.h>

#include <cstdint>

// Created by the first open of the process; null before.
os_log_t pluginLog();
// Creates it, once per process.
void createPluginLog();

// Logs a failed check at the default level: the expression, a message (empty, or the system's text for the failing
// result; null counts as empty), the line and the offending value. The line is a fixed number for each check, not
// __LINE__, so that logs read the same after the source has moved. [any thread]
//
// "kr == 0 " and "result == 0 " end in a blank on purpose: readers of the log search for these exact texts. Only the
// raw debug data's "kr == 0" has none, which distinguishes its line from those of the channel.
void logAssertion(const char* expression, const char* message, int line, uint32_t value);
