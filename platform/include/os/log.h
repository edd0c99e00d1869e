// The unified log: log objects by subsystem and category, lines with a level.
#pragma once

#include <os/object.h>

#include <stdbool.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct os_log_s* os_log_t;
typedef uint8_t os_log_type_t;
enum {
  OS_LOG_TYPE_DEFAULT = 0x00,
  OS_LOG_TYPE_INFO = 0x01,
  OS_LOG_TYPE_DEBUG = 0x02,
  OS_LOG_TYPE_ERROR = 0x10,
  OS_LOG_TYPE_FAULT = 0x11,
};

// The log object of a subsystem and category; the same one for the same names. It is never
// freed. [create: os_release is only counted] [any thread]
os_log_t os_log_create(const char* subsystem, const char* category);
// Whether a line of this level would be kept. A null log object keeps none. [any thread]
bool os_log_type_enabled(os_log_t log, os_log_type_t type);
// Writes one line, if its level is enabled. The format is printf's (integers, floating point, characters, strings and
// pointers), with "%@" for a CF object and with privacy words in braces, which are accepted and not needed
// ("%{public}s"). A null string or object prints as (null). Any other conversion is copied unchanged,
// with the rest of the format. [any thread]
void os_log_with_type(os_log_t log, os_log_type_t type, const char* format, ...);

#define os_log(log, ...) os_log_with_type(log, OS_LOG_TYPE_DEFAULT, __VA_ARGS__)
#define os_log_error(log, ...) os_log_with_type(log, OS_LOG_TYPE_ERROR, __VA_ARGS__)
#define os_log_fault(log, ...) os_log_with_type(log, OS_LOG_TYPE_FAULT, __VA_ARGS__)

#ifdef __cplusplus
}
#endif
