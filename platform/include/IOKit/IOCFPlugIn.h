// User-client plug-ins: interface tables in this process, in front of a registry entry's driver.
#pragma once

#include <CoreFoundation/CFPlugInCOM.h>
#include <IOKit/IOTypes.h>

CF_EXTERN_C_BEGIN

#define kIOCFPlugInInterfaceID                                                                                         \
  CFUUIDGetConstantUUIDWithBytes(NULL, 0xC2, 0x44, 0xE8, 0x58, 0x10, 0x9C, 0x11, 0xD4, 0x91, 0xD4, 0x00, 0x50, 0xE4,   \
                                 0xC6, 0x42, 0x6F)

// The interface that every driver plug-in starts with; QueryInterface yields the others.
typedef struct IOCFPlugInInterface {
  IUNKNOWN_C_GUTS;
} IOCFPlugInInterface;

// The plug-in of `pluginType` in front of `service`. A code other than 0 (kIOReturnNotFound: there is none of this
// type; kIOReturnUnsupported: `interfaceType` is not kIOCFPlugInInterfaceID), or a null plug-in, means that there is
// none. The score says how well the plug-in fits and may be ignored. [create: caller releases, through the plug-in's
// table] [any thread]
kern_return_t IOCreatePlugInInterfaceForService(io_service_t service, CFUUIDRef pluginType, CFUUIDRef interfaceType,
                                                IOCFPlugInInterface*** plugin, SInt32* score);

CF_EXTERN_C_END
