// Creates the log object, once per process, and formats the line of a failed check.
#include "Assertion.h"

#include <dispatch/dispatch.h>

namespace {
os_log_t theLog;
}

os_log_t pluginLog() {
  return theLog;
}

void createPluginLog() {
  static dispatch_once_t once;
  dispatch_once(&once, ^{
    theLog = os_log_create("KIP", "TavikVELHIDStatistics");
  });
}

void logAssertion(const char* expression, const char* message, int line, uint32_t value) {
  if (os_log_type_enabled(pluginLog(), OS_LOG_TYPE_DEFAULT)) {
    os_log(pluginLog(), "%s: AssertMacros: %s, %s file: %s, line: %d value:%x\n", "", expression,
           message != nullptr ? message : "", "TavikVELHIDStatistics/TavikVELHIDStatistics", line, value);
  }
}
