// Registration of a HID service: whether it is ours, its registry entries and interfaces, and its state handlers.

#include "Assertion.h"
#include "Owned.h"
#include "RawDebugData.h"
#include "TavikVELHIDStatistics.h"

#include <IOKit/IOCFPlugIn.h>
#include <IOKit/IOKitLib.h>

#include <memory>

namespace {

void releasePlugIn(IOCFPlugInInterface** plugin) {
  (*plugin)->Release(plugin);
}

// What one registration holds. However it ends, the transport, a plug-in and the parent are released, in this order,
// and then a context that was not kept is deleted. Nothing that the context already held is released or closed: the
// registry objects and interfaces of an abandoned service stay with the process.
struct Registration {
  // The last one declared is released first.
  std::unique_ptr<Context> context;
  OwnedIOObject parent;
  Owned<IOCFPlugInInterface**, releasePlugIn> plugin;
  OwnedCF<CFTypeRef> transport;

  // Stores the plug-in of this type for `service` in `plugin`; false, without a log line, if there is none.
  bool createPlugin(io_service_t service, CFUUIDRef type) {
    SInt32 score = 0;
    return IOCreatePlugInInterfaceForService(service, type, kIOCFPlugInInterfaceID, plugin.out(), &score) == 0 &&
           plugin;
  }
  HRESULT queryPlugin(CFUUIDRef interface, void* storage) {
    return (*plugin.get())->QueryInterface(plugin.get(), CFUUIDGetUUIDBytes(interface), static_cast<LPVOID*>(storage));
  }
};

void logFailure(const char* expression, int line) {
  logAssertion(expression, "", line, 0);
}

// Leaves out the system's text for the code, unlike the channel: the line number says which step failed.
void logResult(int line, IOReturn kr) {
  logAssertion("kr == 0 ", "", line, static_cast<uint32_t>(kr));
}

struct ServiceClass {
  bool supportsTallyStore;
  bool isButton;
  bool isSensor;
};

// The property and all six usages are queried every time, in this order, even if the answer is already known.
ServiceClass classify(IOHIDServiceRef service) {
  const bool supportsTallyStore = TavikVELHIDStatistics::IOHIDServiceSupportsTallyStore(service);
  const bool consumer = IOHIDServiceConformsTo(service, 0x0C, 0x01);
  const bool telephony = IOHIDServiceConformsTo(service, 0x0B, 0x01);
  const bool vendor3 = IOHIDServiceConformsTo(service, 0xFF00, 0x03);
  const bool vendor9 = IOHIDServiceConformsTo(service, 0xFF00, 0x09);
  const bool vendorA = IOHIDServiceConformsTo(service, 0xFF00, 0x0A);
  const bool pressure = IOHIDServiceConformsTo(service, 0x20, 0x31);
  return {supportsTallyStore, supportsTallyStore || consumer || telephony, vendor3 || vendor9 || vendorA || pressure};
}

} // namespace

void TavikVELHIDStatistics::registerService(IOHIDServiceRef service) {
  // Is it a service of the co-processor, and a button or a sensor?
  Registration registration{.context = {},
                            .parent = {},
                            .plugin = {},
                            .transport = OwnedCF<CFTypeRef>(IOHIDServiceCopyProperty(service, CFSTR("Transport")))};
  CFTypeRef transport = registration.transport.get();
  if (transport == nullptr) {
    return;
  }
  if (CFGetTypeID(transport) != CFStringGetTypeID()) {
    return logFailure("CFGetTypeID(transport) == CFStringGetTypeID()", 230);
  }
  if (!CFEqual(transport, CFSTR("VEL"))) {
    return;
  }
  const ServiceClass kind = classify(service);
  if (!kind.isButton && !kind.isSensor) {
    return;
  }

  // The driver is the service's own registry entry, the device its grandparent.
  const io_service_t entry =
      IOServiceGetMatchingService(kIOMasterPortDefault, IORegistryEntryIDMatching(getIOHIDServiceRegistryID(service)));
  registration.context = std::make_unique<Context>();
  Context* context = registration.context.get();
  context->_driver._service = entry;
  if (entry == 0) {
    return logFailure("context->_driver._service", 255);
  }
  if (IOReturn kr = IORegistryEntryGetParentEntry(entry, kIOServicePlane, registration.parent.out()); kr != 0) {
    return logResult(262, kr);
  }
  if (!registration.parent) {
    return logFailure("parent", 263);
  }
  if (IOReturn kr =
          IORegistryEntryGetParentEntry(registration.parent.get(), kIOServicePlane, &context->_device._service);
      kr != 0) {
    return logResult(267, kr);
  }
  if (context->_device._service == 0) {
    return logFailure("context->_device._service", 268);
  }

  // The driver's interface. A service without one is still kept; a service whose driver interface does not open is
  // abandoned.
  if (registration.createPlugin(entry, kVELDriverUserClientTypeID)) {
    if (!SUCCEEDED(registration.queryPlugin(kVELDriverInterfaceID, &context->_driver._interface))) {
      logFailure("((HRESULT)(Status) >= 0)", 275);
    }
    if (VELDriverInterface** driver = context->_driver._interface; driver == nullptr) {
      logFailure("context->_driver._interface", 276);
      registration.plugin.release(); // forgotten, not released, by design
    } else {
      if (IOReturn kr = (*driver)->open(driver, 0); kr != 0) {
        return logResult(280, kr);
      }
      registration.plugin.reset();
    }
  }

  // The device's interface, which delivers the analytics. Batches arrive even if it does not open.
  if (registration.createPlugin(context->_device._service, kVELDeviceUserClientTypeID)) {
    if (!SUCCEEDED(registration.queryPlugin(kVELDeviceInterfaceID, &context->_device._interface))) {
      logFailure("((HRESULT)(Status) >= 0)", 292);
    }
    if (VELDeviceInterface** device = context->_device._interface; device == nullptr) {
      logFailure("context->_device._interface", 293);
    } else {
      (*device)->open(device, 0);
      if (kind.supportsTallyStore) {
        (*device)->setDispatchQueue(device, _queue);
        (*device)->setDataCallback(device, publishTSData, this);
      }
    }
    registration.plugin.reset();
  }

  // The state handlers. The button's reports are only for consumer control, which is queried again because `isButton`
  // may have another cause.
  if (kind.isButton && IOHIDServiceConformsTo(service, 0x0C, 0x01)) {
    context->_device._hid = IOHIDDeviceCreate(kCFAllocatorDefault, context->_device._service);
    if (context->_device._hid == nullptr) {
      return logFailure("context->_device._hid", 315);
    }
    addStateHandler(&TavikVELHIDStatistics::stateHandler_ZORBStats, context);
    addStateHandler(&TavikVELHIDStatistics::stateHandler_ZORBAssets, context);
  }
  if (kind.isSensor) {
    addStateHandler(&TavikVELHIDStatistics::stateHandler_SensorInfo, context);
  }
  if (!_rawDebugInstalled) {
    _rawDebugInstalled = true;
    addRawDebugHandlers(kVELProfileKind_Firmware, 48);
    addRawDebugHandlers(kVELProfileKind_Driver, 8);
    addRawDebugHandlers(kVELProfileKind_Error, 48);
  }
  CFArrayAppendValue(_contexts, registration.context.release());
}

void TavikVELHIDStatistics::addStateHandler(StateHandler handler, Context* context) {
  os_state_add_handler(_queue, ^os_state_data_s*(os_state_hints_s* hints) {
    return hints->api == OS_STATE_API_REQUEST ? (this->*handler)(hints, context) : nullptr;
  });
}

// The raw records also answer captures at a fault.
void TavikVELHIDStatistics::addRawDebugHandlers(uint32_t kind, uint32_t count) {
  for (uint32_t index = 0; index < count; ++index) {
    os_state_add_handler(_queue, ^os_state_data_s*(os_state_hints_s* hints) {
      return hints->api >= OS_STATE_API_FAULT
                 ? stateHandler_RawDebugData(hints, nullptr, index, kRawDebugRecordCount, kind)
                 : nullptr;
    });
  }
}
