// The decoder's exported functions, for callers that do not use its classes.
#ifndef PROFILE_PROFILE_DESCRIPTION_H
#define PROFILE_PROFILE_DESCRIPTION_H

#include "profile/VelProfileReport.h"
#include "profile/export.h"

#include <CoreFoundation/CoreFoundation.h>

#ifdef __cplusplus
extern "C" {
#endif

// The text of a report, up to its first NUL; null if it is not UTF-8. Bytes of the record can cause both. [any thread]
// [create: caller releases]
VEL_PROFILE_API CFStringRef CopyProfileDescription(const _VelProfileReport* report);

// Writes the text and a newline to standard output; nothing if there is no text. [any thread]
VEL_PROFILE_API void vel_profile_print(const _VelProfileReport* report);

// Programs look for this symbol; the decoder does not read it.
VEL_PROFILE_API extern unsigned char __vel_profile_delta_enabled;

#ifdef __cplusplus
}
#endif

#endif
