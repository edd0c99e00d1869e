// A time zone for the time of a test.
#pragma once

#include <cstdlib>
#include <ctime>

namespace vel {

class Zone {
public:
  explicit Zone(const char* name) {
    setenv("TZ", name, 1);
    tzset();
  }
  ~Zone() {
    unsetenv("TZ");
    tzset();
  }
  Zone(const Zone&) = delete;
  Zone& operator=(const Zone&) = delete;
};

} // namespace vel
