// A program in C: the header compiles there, and the library serves it.
#include "profile/velprofile.h"

#include <string.h>

int c_program_renders_a_record(const void* record, const char* expected, size_t length);

int c_program_renders_a_record(const void* record, const char* expected, size_t length) {
  char text[VEL_PROFILE_TEXT_CAPACITY];
  if (vel_profile_render(record, NULL, text, sizeof text) != length || memcmp(text, expected, length) != 0) {
    return 1;
  }
  vel_profile_field fields[VEL_PROFILE_FIELD_CAPACITY];
  size_t count = vel_profile_fields(record, fields, VEL_PROFILE_FIELD_CAPACITY);
  if (count != 8 || fields[5].kind != VEL_PROFILE_CHARACTER || strcmp(fields[5].key, "connected") != 0) {
    return 2;
  }
  vel_profile_times times = {VEL_PROFILE_BOOT, 0, 0, 17};
  size_t longer = vel_profile_render(record, &times, text, sizeof text);
  return longer == length + strlen(", 'boot-timestamp':17") ? 0 : 3;
}
