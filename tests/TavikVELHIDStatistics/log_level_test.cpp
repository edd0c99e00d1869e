// Lines are written only if their level is enabled, and the plug-in asks before it writes.

#include "support/statistics_fixture.h"
#include <control/notify.h>
#include <control/queue.h>

#include <atomic>

// The linker sends the plug-in's question here, so that a test can answer it. The log itself keeps every line that
// reaches it.
namespace {
std::atomic<int> unwantedType = -1; // none
}
extern "C" bool __real_os_log_type_enabled(os_log_t log, os_log_type_t type);
extern "C" bool __wrap_os_log_type_enabled(os_log_t log, os_log_type_t type);
bool __wrap_os_log_type_enabled(os_log_t log, os_log_type_t type) {
  return type != unwantedType && __real_os_log_type_enabled(log, type);
}

namespace vel::test {
namespace {

using testing::ElementsAre;

struct LogLevel : StatisticsTest {
  ~LogLevel() override { unwantedType = -1; }
  // The lines of a fault notification and of a failed check.
  std::vector<std::string> lines() {
    control::clearLog();
    control::postNotification("com.tavik.tavikvelhidstatistics.fault");
    control::drain(queue);
    registerService({.transport = cfNumber(1), .usages = button});
    return logMessages();
  }
  const std::string failedCheck = assertionLine("CFGetTypeID(transport) == CFStringGetTypeID()", "", 230, 0);
};

TEST_F(LogLevel, AllWanted_BothAreWritten) {
  EXPECT_THAT(lines(), ElementsAre("fault!", failedCheck));
}

TEST_F(LogLevel, FaultsUnwanted_TheNotificationIsSilent) {
  unwantedType = OS_LOG_TYPE_FAULT;
  EXPECT_THAT(lines(), ElementsAre(failedCheck));
}

TEST_F(LogLevel, DefaultUnwanted_FailedChecksAreSilent) {
  unwantedType = OS_LOG_TYPE_DEFAULT;
  EXPECT_THAT(lines(), ElementsAre("fault!"));
}

} // namespace
} // namespace vel::test
