// One session of the HID event system with one plug-in: makes the object through the bundle's factory, drives it
// through its interface table, and makes sure that no code of the bundle is called after it is unloaded.
#pragma once

#include <control/ref.h>
#include <formats/state_record.h>
#include <host/bundle.h>
#include <host/handler_run.h>
#include <host/machine.h>

#include <IOKit/hid/IOHIDSessionFilterPlugIn.h>
#include <dispatch/dispatch.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vel::host {

// A record and the state handler that made it, counted from 1 in the order of registration.
struct CapturedRecord {
  std::size_t handler = 0;
  formats::StateRecord record;
  formats::Bytes bytes; // the whole of it, header and property list
};

// The state handlers that one service added.
struct Registration {
  std::size_t firstHandler = 0; // from 1; unused when there are none
  std::size_t handlers = 0;
};

// State handlers and notifications exist once per process, so there is one session at a time. The order of calls is
// open, schedule, then any of the others, close; any other order throws Error. [one thread, not the session's queue]
class Session {
public:
  // Takes ownership of the bundle. The machine must outlive the session. Throws Error if the bundle's object cannot be
  // driven.
  Session(Bundle bundle, Machine& machine);
  ~Session(); // closes
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  void open(); // false from the plug-in throws Error
  void schedule();
  Registration registerService(const MachineService& service);

  // Asks every state handler, in order; handlers that return no record are left out.
  std::vector<CapturedRecord> capture(std::uint32_t api, const std::string& requestor);
  // The outcome for each handler in the last capture. The log must be kept in memory.
  const std::vector<HandlerRun>& handlerRuns() const { return handlerRuns_; }
  // Returns the number of handlers that the notification reached.
  std::size_t postNotification(std::string_view name);
  // Queues a batch for the service's device. False when the device has no data callback, or no queue to call it on: the
  // batch is then dropped, as a device would do. drain() reports a queued batch that failed.
  bool deliverAnalytics(const MachineService& service, formats::Bytes batch);
  // Returns when everything that was queued before has run. Throws Error when a batch could not be stored.
  void drain();

  std::size_t stateHandlers() const;
  const Bundle& bundle() const { return bundle_; }

  // Ends the session. False when objects of the bundle outlived it: the bundle then stays in memory.
  bool close();

private:
  class BatchFailure;
  enum class Stage { created, opened, scheduled, closed };
  void require(Stage stage, const char* call) const;
  void makeInterface();
  void checkTable() const;
  void dropRegistrations();
  void release();
  [[noreturn]] void refuse(const std::string& reason) const;

  Bundle bundle_;
  Machine& machine_;
  Stage stage_ = Stage::created;
  IOHIDSessionFilterPlugInInterface** interface_ = nullptr;
  control::Ref<IOHIDSessionRef> session_;
  std::shared_ptr<BatchFailure> batchFailure_; // also held by batches that are queued
  dispatch_queue_t queue_ = nullptr;
  std::vector<HandlerRun> handlerRuns_;
};

} // namespace vel::host
