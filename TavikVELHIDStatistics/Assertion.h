// The plug-in's log object and the one line that every failed check writes to it.
#pragma once

#include <os/log.h>

#include <cstdint>

// Created by the first open of the process; null before.
os_log_t pluginLog();
// Creates it, once per process.
void createPluginLog();

// Logs a failed check at the default level: the expression as the source has it, a message (empty, or what the system
// calls the failing result; null counts as empty), the line and the offending value. The line is a fixed number of the
// check, not __LINE__: a log reads the same after the source has moved. [any thread]
//
// "kr == 0 " and "result == 0 " end in a blank, which is meant: readers of the log look for these very texts. Only the
// raw debug data's "kr == 0" has none, and so tells its line from those of the channel.
void logAssertion(const char* expression, const char* message, int line, uint32_t value);
