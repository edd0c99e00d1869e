// Kernel state by number.
#pragma once

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

enum { CTL_KERN = 1 };
enum { KERN_BOOTTIME = 21 };

// {CTL_KERN, KERN_BOOTTIME}: the boot time as a struct timeval since the Unix epoch, the same in every call. `oldSize`
// is the capacity on entry, the bytes written on return; without `old` it is the size needed. Returns -1 with errno set
// and changes nothing for other names (ENOENT), a value to set (EPERM), a buffer that is too small (ENOMEM), and a boot
// time that cannot be read (EIO). [any thread]
int sysctl(const int* name, unsigned int nameLength, void* old, size_t* oldSize, const void* value, size_t valueSize);

#ifdef __cplusplus
}
#endif
