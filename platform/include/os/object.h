// Objects of the system library.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

// Drops a reference to a system object. Log objects are immortal: their releases are only counted. Null is
// ignored; anything but a log object aborts. [any thread]
void os_release(void* object);

#ifdef __cplusplus
}
#endif
