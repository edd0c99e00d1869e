// The only supported kernel value: the boot time, as Linux records it.
#include "announce.h"
#include "services/immortal.h"
#include <control/clock.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <mutex>
#include <string>
#include <sys/sysctl.h>
#include <sys/time.h>

namespace {

constexpr std::int64_t microsecondsPerSecond = 1'000'000;

// "btime" of /proc/stat: whole seconds, the same for every process. The difference of two clocks would vary by some
// microseconds from one reading to the next.
std::optional<std::int64_t> kernelBootTime() {
  std::ifstream stat("/proc/stat");
  for (std::string word; stat >> word;) {
    std::int64_t seconds = 0;
    if (word == "btime" && stat >> seconds) {
      return seconds * microsecondsPerSecond;
    }
  }
  return std::nullopt;
}

struct Clock {
  std::mutex mutex;
  std::optional<std::int64_t> chosen;
  std::optional<std::int64_t> kernel = kernelBootTime();
};

std::optional<std::int64_t> bootTime() {
  auto& clock = vel::platform::immortal<Clock>();
  const std::lock_guard lock(clock.mutex);
  return clock.chosen ? clock.chosen : clock.kernel;
}

int fail(int error) {
  errno = error;
  return -1;
}

} // namespace

extern "C" int sysctl(const int* name, unsigned int nameLength, void* old, size_t* oldSize, const void* value,
                      size_t valueSize) {
  const bool isBootTime = name != nullptr && nameLength == 2 && name[0] == CTL_KERN && name[1] == KERN_BOOTTIME;
  if (vel::platform::announce("sysctl", isBootTime ? "kern.boottime" : "?")) {
    return fail(EIO);
  }
  if (!isBootTime) {
    return fail(ENOENT);
  }
  if (value != nullptr || valueSize != 0) {
    return fail(EPERM);
  }
  if (oldSize == nullptr) {
    return old == nullptr ? 0 : fail(ENOMEM);
  }
  timeval time{};
  if (old != nullptr) {
    if (*oldSize < sizeof(time)) {
      return fail(ENOMEM);
    }
    const auto boot = bootTime();
    if (!boot) {
      return fail(EIO);
    }
    // Microseconds count upwards from the second, also before 1970.
    time.tv_usec = (*boot % microsecondsPerSecond + microsecondsPerSecond) % microsecondsPerSecond;
    time.tv_sec = *boot / microsecondsPerSecond - (*boot % microsecondsPerSecond < 0 ? 1 : 0);
    std::memcpy(old, &time, sizeof(time));
  }
  *oldSize = sizeof(time);
  return 0;
}

namespace vel::control {

void setBootTime(std::optional<std::int64_t> microseconds) {
  auto& clock = platform::immortal<Clock>();
  const std::lock_guard lock(clock.mutex);
  clock.chosen = microseconds;
}

} // namespace vel::control
