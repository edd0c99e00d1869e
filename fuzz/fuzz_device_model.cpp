// Hostile device models: a model is refused in one line of bounded length, or it takes bounded memory, makes a working
// machine, and writes only inside the caller's buffer. It may extend one other model.
#include "require.h"
#include <host/error.h>
#include <host/machine.h>

#include <cstdint>
#include <string_view>
#include <vector>

namespace {

using vel::fuzz::require;
using namespace vel::host;

// Each reply is written into a buffer of its own, so that AddressSanitizer sees a write beyond it.
void ask(const ReplyModel& model) {
  ReplyBook book(model);
  for (const std::size_t size : {0, 4, 330}) {
    for (const auto& [id, replies] : model.properties) {
      std::vector<std::byte> output(size);
      std::size_t reported = 0;
      book.property(id, output, reported);
    }
    for (const auto& [id, replies] : model.commands) {
      std::vector<std::byte> output(size);
      std::size_t reported = 0;
      book.command(id, output, reported);
    }
  }
}

std::size_t sizeOf(const ReplyModel& model) {
  std::size_t size = 0;
  for (const ReplyLists* lists : {&model.properties, &model.commands}) {
    for (const auto& [id, replies] : *lists) {
      for (const Reply& reply : replies) {
        size += sizeof reply + (reply.content ? reply.content->size() : 0);
      }
    }
  }
  return size;
}

// A few words can describe many replies, so their memory has a fixed limit. An entry of analytics takes at least two
// characters of the text.
void checkSize(const DeviceModel& model, std::size_t textSize) {
  std::size_t replies = 0;
  std::size_t analytics = 0;
  for (const ServiceModel& service : model.services) {
    replies += service.driver ? sizeOf(service.driver->replies) : 0;
    if (service.device) {
      for (const vel::formats::Bytes& batch : service.device->analytics) {
        analytics += batch.size();
      }
    }
  }
  for (const NamedServiceModel& service : model.namedServices) {
    replies += sizeOf(service.replies);
  }
  require(replies <= std::size_t{32} << 20);
  require(analytics <= 4 * textSize);
}

// The only model that a model can extend here.
std::string readModel(const std::string& name) {
  if (name != "base.json") {
    throw vel::formats::Error("no such model");
  }
  return R"({"services": [{"name": "s", "transport": "VEL", "usages": [{"page": 12, "usage": 1}],
    "driver": {"property-replies": {"0": [{"u32": 1}]}}, "device": {"analytics": []}}],
    "named-services": [{"name": "n", "command-replies": {"8": [{"profile-records": {"flow": "idle"}}]}}]})";
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // The length of the deepest pointer, whose keys are cut, and of the longest list of known keys.
  constexpr std::size_t longestLine = 128 * 140 + 2048;
  try {
    const DeviceModel model = parseDeviceModel({reinterpret_cast<const char*>(data), size}, "fuzz", readModel);
    checkSize(model, size);
    const Machine machine(model);
    require(machine.services().size() == model.services.size());
    for (const ServiceModel& service : model.services) {
      if (service.driver) {
        ask(service.driver->replies);
      }
    }
    for (const NamedServiceModel& service : model.namedServices) {
      ask(service.replies);
    }
  } catch (const vel::formats::Error& error) {
    const std::string_view line = error.what();
    require((line.starts_with("fuzz: ") || line.starts_with("fuzz, which extends base.json: ")) &&
            line.size() <= longestLine);
  }
  return 0;
}
