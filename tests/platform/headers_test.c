// Every platform header at once, each by the name that a plug-in uses: they must be good C.
#include <CoreFoundation/CFArray.h>
#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFDictionary.h>
#include <CoreFoundation/CFNumber.h>
#include <CoreFoundation/CFPlugIn.h>
#include <CoreFoundation/CFPlugInCOM.h>
#include <CoreFoundation/CFPropertyList.h>
#include <CoreFoundation/CFString.h>
#include <CoreFoundation/CFUUID.h>
#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOCFPlugIn.h>
#include <IOKit/IOKitLib.h>
#include <IOKit/IOTypes.h>
#include <IOKit/hid/IOHIDDevice.h>
#include <IOKit/hid/IOHIDService.h>
#include <IOKit/hid/IOHIDSessionFilterPlugIn.h>
#include <TallyStore/TallyStore.h>
#include <VEL/VELUserClient.h>
#include <dispatch/dispatch.h>
#include <mach/mach.h>
#include <mach/mach_error.h>
#include <notify.h>
#include <os/log.h>
#include <os/object.h>
#include <os/state.h>

#include <sys/sysctl.h>

int main(void) {
  return CFEqual(CFSTR("a constant"), CFSTR("a constant")) && CFUUIDGetUUIDBytes(IUnknownUUID).byte8 == 0xC0 ? 0 : 1;
}
