// Drives the plug-in through its interface table, and checks the order of calls and what it returns.
#include "host/session.h"

#include <control/cf.h>
#include <control/hid.h>
#include <control/log.h>
#include <control/notify.h>
#include <control/queue.h>
#include <control/state.h>
#include <control/tally.h>
#include <host/error.h>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <atomic>
#include <malloc.h>
#include <mutex>
#include <new>
#include <optional>
#include <span>
#include <stdexcept>
#include <utility>

namespace vel::host {

namespace {

using Interface = IOHIDSessionFilterPlugInInterface;

std::atomic<bool> inSession = false;

const char* const stageNames[] = {"created", "opened", "scheduled", "closed"};

// Whether an object has the three IUnknown entries. checkTable() refuses a table that lacks other entries.
bool isUnknown(const void* object) {
  const IUnknownVTbl* const table = *static_cast<const IUnknownVTbl* const*>(object);
  return table != nullptr && table->QueryInterface != nullptr && table->AddRef != nullptr && table->Release != nullptr;
}

// The bytes of a handler's record. The record's size field must not exceed its allocation.
std::span<const std::byte> bytesOf(const os_state_data_s& data) {
  const std::size_t allocated = malloc_usable_size(const_cast<os_state_data_s*>(&data));
  const auto* bytes = reinterpret_cast<const std::byte*>(&data);
  if (allocated < formats::recordHeaderSize) {
    throw formats::StateRecordError(
        fmt::format("has {} bytes, less than the header of {}", allocated, formats::recordHeaderSize));
  }
  if (data.dataSize > allocated - formats::recordHeaderSize) {
    throw formats::StateRecordError(
        fmt::format("offset 4: data size {} in an allocation of {} bytes", data.dataSize, allocated));
  }
  return {bytes, formats::recordHeaderSize + data.dataSize};
}

} // namespace

// Why a batch could not be stored. Set on the queue that delivers batches, taken on the session's thread.
class Session::BatchFailure {
public:
  void set(const char* reason) {
    const std::scoped_lock lock(mutex_);
    reason_ = reason;
  }
  std::optional<std::string> take() {
    const std::scoped_lock lock(mutex_);
    return std::exchange(reason_, std::nullopt);
  }

private:
  std::mutex mutex_;
  std::optional<std::string> reason_;
};

Session::Session(Bundle bundle, Machine& machine)
    : bundle_(std::move(bundle)), machine_(machine), batchFailure_(std::make_shared<BatchFailure>()) {
  if (inSession.exchange(true)) {
    throw Error("another session is open in this process");
  }
  try {
    makeInterface();
    checkTable();
  } catch (...) {
    release();
    inSession = false;
    throw;
  }
  session_ = control::Ref<IOHIDSessionRef>::adopt(control::createHIDSession());
}

Session::~Session() {
  close();
}

void Session::refuse(const std::string& reason) const {
  throw Error(fmt::format("{}: {}", bundle_.path().string(), reason));
}

void Session::makeInterface() {
  void* const object = bundle_.factory()(kCFAllocatorDefault, kIOHIDSessionFilterPlugInTypeID);
  if (object == nullptr) {
    refuse(fmt::format("the factory {} made no object for the session-filter type", bundle_.factoryName()));
  }
  const auto requireUnknown = [&](const void* handle) {
    if (!isUnknown(handle)) {
      bundle_.keepLoaded(); // its object cannot be released
      refuse("the interface table is incomplete: it lacks QueryInterface, AddRef or Release");
    }
  };
  requireUnknown(object);
  const IUnknownVTbl* const table = *static_cast<const IUnknownVTbl* const*>(object);
  // The interface's reference replaces the factory's.
  void* interface = nullptr;
  const HRESULT result = table->QueryInterface(object, CFUUIDGetUUIDBytes(kIOHIDSessionFilterInterfaceID), &interface);
  table->Release(object);
  if (!SUCCEEDED(result) || interface == nullptr) {
    refuse(fmt::format("the object has no session-filter interface: QueryInterface answered {:#010x}",
                       static_cast<std::uint32_t>(result)));
  }
  requireUnknown(interface); // it may be another object
  interface_ = static_cast<Interface**>(interface);
}

void Session::checkTable() const {
  const Interface* const table = *interface_;
  struct Entry {
    const char* name;
    bool present;
  };
  // Slots that the event system does not need may hold anything.
  const Entry entries[] = {
      {"7 (open)", table->open != nullptr},
      {"8 (close)", table->close != nullptr},
      {"11 (registerService)", table->registerService != nullptr},
      {"13 (scheduleWithDispatchQueue)", table->scheduleWithDispatchQueue != nullptr},
      {"14 (unscheduleFromDispatchQueue)", table->unscheduleFromDispatchQueue != nullptr},
  };
  std::vector<const char*> missing;
  for (const Entry& entry : entries) {
    if (!entry.present) {
      missing.push_back(entry.name);
    }
  }
  if (!missing.empty()) {
    refuse(fmt::format("the interface table is incomplete: it lacks entry {}", fmt::join(missing, ", ")));
  }
}

void Session::require(Stage stage, const char* call) const {
  if (stage_ != stage) {
    throw Error(fmt::format("{} is out of order: the session is {}, not {}", call,
                            stageNames[static_cast<std::size_t>(stage_)], stageNames[static_cast<std::size_t>(stage)]));
  }
}

void Session::open() {
  require(Stage::created, "open");
  if (!(*interface_)->open(interface_, session_.get(), 0)) {
    refuse("the plug-in refused the session: open answered false");
  }
  stage_ = Stage::opened;
}

void Session::schedule() {
  require(Stage::opened, "scheduleWithDispatchQueue");
  queue_ = control::createQueue("session");
  (*interface_)->scheduleWithDispatchQueue(interface_, queue_);
  stage_ = Stage::scheduled;
}

Registration Session::registerService(const MachineService& service) {
  require(Stage::scheduled, "registerService");
  const std::size_t before = stateHandlers();
  (*interface_)->registerService(interface_, service.service.get());
  return {.firstHandler = before + 1, .handlers = stateHandlers() - before};
}

std::vector<CapturedRecord> Session::capture(std::uint32_t api, const std::string& requestor) {
  require(Stage::scheduled, "capture");
  std::vector<CapturedRecord> records;
  handlerRuns_.clear();
  std::size_t number = 0;
  std::size_t logged = control::logLines().size();
  for (const os_state_handle_t handler : control::stateHandlers()) {
    const control::StateRecord data = control::captureState(handler, api, requestor);
    HandlerRun& run = handlerRuns_.emplace_back();
    run.handler = ++number;
    run.answered = data != nullptr;
    const std::vector<control::LogLine> log = control::logLines();
    run.logLines = log.size() - std::min(log.size(), logged);
    logged = log.size();
    if (data == nullptr) {
      explain(run, std::span(log).last(run.logLines));
      continue;
    }
    try {
      const auto bytes = bytesOf(*data);
      records.push_back({number, formats::parseStateRecord(bytes), {bytes.begin(), bytes.end()}});
    } catch (const formats::StateRecordError& error) {
      refuse(fmt::format("state handler {} returned a bad record: {}", number, error.what()));
    }
  }
  return records;
}

std::size_t Session::postNotification(std::string_view name) {
  require(Stage::scheduled, "a notification");
  return control::postNotification(name);
}

bool Session::deliverAnalytics(const MachineService& service, formats::Bytes batch) {
  require(Stage::scheduled, "an analytics batch");
  // What one batch publishes is stored as a whole.
  return service.device->deliverAnalytics(std::move(batch), [failure = batchFailure_](const auto& publish) {
    control::beginTallyBatch();
    try {
      publish();
    } catch (const std::bad_alloc&) {
      failure->set("out of memory");
      return; // the batch is dropped with the session
    }
    try {
      control::endTallyBatch();
    } catch (const std::runtime_error& error) {
      failure->set(error.what());
    }
  });
}

void Session::drain() {
  require(Stage::scheduled, "drain");
  control::drain(queue_);
  if (const auto failure = batchFailure_->take()) {
    throw Error(*failure);
  }
}

std::size_t Session::stateHandlers() const {
  return control::stateHandlers().size();
}

void Session::dropRegistrations() {
  control::dropStateHandlers();
  control::dropNotifications();
  machine_.dropCallbacks();
}

void Session::release() {
  if (interface_ != nullptr) {
    (*interface_)->Release(interface_);
    interface_ = nullptr;
  }
  const auto factory = control::Ref<CFUUIDRef>::adopt(control::createUUID(bundle_.factoryID()));
  if (control::plugInInstances(factory.get()) > 0) {
    bundle_.keepLoaded();
  } else {
    bundle_.unload();
  }
}

bool Session::close() {
  if (stage_ == Stage::scheduled) {
    control::drain(queue_);
    dropRegistrations();
    (*interface_)->unscheduleFromDispatchQueue(interface_, queue_);
  }
  if (stage_ == Stage::scheduled || stage_ == Stage::opened) {
    (*interface_)->close(interface_, session_.get(), 0);
  }
  if (queue_ != nullptr) {
    // Again: the plug-in may have queued or registered something in the two calls above.
    control::drain(queue_);
    dropRegistrations();
  }
  if (stage_ != Stage::closed) {
    release();
    session_ = {};
    if (queue_ != nullptr) {
      control::destroyQueue(std::exchange(queue_, nullptr));
    }
    stage_ = Stage::closed;
    inSession = false;
  }
  return bundle_.isUnloaded();
}

} // namespace vel::host
