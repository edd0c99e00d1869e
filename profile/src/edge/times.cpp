// The two times that come from the operating system. Nothing is kept between calls: a change of the time-sync values
// takes effect with the next report.
#include "profile/profile_decoder.h"
#include "profile/wall_time.h"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>

#include <sys/sysctl.h>
#include <sys/time.h>

namespace {

// A clock reading that is missing or not a number makes the conversion fail.
bool read_clock(CFDictionaryRef clocks, CFStringRef name, std::int64_t& value) {
  const CFTypeRef number = CFDictionaryGetValue(clocks, name);
  if (number == nullptr || CFGetTypeID(number) != CFNumberGetTypeID()) {
    return false;
  }
  long long reading = 0;
  CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberLongLongType, &reading);
  value = reading;
  return true;
}

bool read_clocks(CFTypeRef property, vel::profile::TimeSync& sync) {
  if (CFGetTypeID(property) != CFDictionaryGetTypeID()) {
    return false;
  }
  const auto clocks = static_cast<CFDictionaryRef>(property);
  return read_clock(clocks, CFSTR("vel"), sync.vel) && read_clock(clocks, CFSTR("calendar"), sync.calendar);
}

} // namespace

bool profile_decoder::vel_time_to_wall_time(unsigned long long timestamp, std::string& out) {
  const io_service_t service = IOServiceGetMatchingService(kIOMasterPortDefault, IOServiceMatching("TavikVELTimesync"));
  if (service == 0) {
    return false;
  }
  const CFTypeRef property = IORegistryEntryCreateCFProperty(service, CFSTR("timesync"), kCFAllocatorDefault, 0);
  if (property == nullptr) {
    IOObjectRelease(service);
    return false;
  }
  vel::profile::TimeSync sync = {};
  const bool has_clocks = read_clocks(property, sync);
  CFRelease(property);
  IOObjectRelease(service);
  if (!has_clocks) {
    return false;
  }
  out = vel::profile::WallClock(sync).text(timestamp);
  return true;
}

bool profile_decoder::get_boot_time(unsigned long long& boot) {
  static_assert(sizeof(timeval) == 16);
  const int name[] = {CTL_KERN, KERN_BOOTTIME};
  timeval time = {};
  std::size_t size = sizeof time;
  if (sysctl(name, 2, &time, &size, nullptr, 0) < 0) {
    return false;
  }
  boot = static_cast<unsigned long long>(time.tv_sec) * 1000000 + static_cast<unsigned long long>(time.tv_usec);
  return true;
}
