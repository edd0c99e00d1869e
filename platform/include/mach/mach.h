// Kernel ports, as far as user-client connections need them.
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef uint32_t mach_port_t;
typedef int kern_return_t;

// The port of this process. [get: borrowed] [any thread]
mach_port_t mach_task_self(void);

#ifdef __cplusplus
}
#endif
