// Registration of plug-in instances with their factory: while a factory has instances, its bundle stays loaded.
#pragma once

#include <CoreFoundation/CFUUID.h>

CF_EXTERN_C_BEGIN

void CFPlugInAddInstanceForFactory(CFUUIDRef factoryID);
// Taking away an instance that was never added aborts.
void CFPlugInRemoveInstanceForFactory(CFUUIDRef factoryID);

CF_EXTERN_C_END
