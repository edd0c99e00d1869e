// In place of profile/src/edge/times.cpp.
#include "given_times.h"

#include "profile/profile_decoder.h"

GivenTimes given_times;

bool profile_decoder::vel_time_to_wall_time(unsigned long long, std::string& out) {
  if (given_times.wall) {
    out = *given_times.wall;
  }
  return given_times.wall.has_value();
}

bool profile_decoder::get_boot_time(unsigned long long& boot) {
  boot = given_times.boot.value_or(boot);
  return given_times.boot.has_value();
}
