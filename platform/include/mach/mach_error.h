// Texts for result codes of the kernel and its drivers.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

typedef int mach_error_t;
// A static text, or null for a code that has none. [any thread]
const char* mach_error_string(mach_error_t code);

#ifdef __cplusplus
}
#endif
