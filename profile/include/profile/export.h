// Marks what the shared libraries export.
#ifndef PROFILE_EXPORT_H
#define PROFILE_EXPORT_H

#define VEL_PROFILE_API __attribute__((visibility("default")))

#endif
