// Many captures leak nothing.
#include <control/cf.h>
#include <control/log.h>
#include <control/registry.h>
#include <control/state.h>
#include <host/session.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <malloc.h>
#include <map>
#include <string>

namespace {

using namespace vel;

// Every handler has something to tell, the profile handlers one record each.
host::DeviceModel model() {
  host::DeviceModel model = host::readDeviceModel(std::filesystem::path(MODELS) / "default.json");
  const auto shorten = [](host::ReplyLists& lists, std::uint32_t id) {
    auto& list = lists.at(id);
    list.resize(1);
    list[0].content->resize(48);
  };
  shorten(model.namedServices.at(0).replies.properties, 209);
  shorten(model.namedServices.at(1).replies.commands, 8);
  shorten(model.namedServices.at(1).replies.commands, 9);
  return model;
}

struct Holdings {
  std::map<std::string, std::size_t> objects = control::liveObjects();
  std::size_t registryReferences = control::registryReferences();
  std::size_t connections = control::openConnections();

  bool operator==(const Holdings&) const = default;
};

TEST(CaptureMemory, AfterTenThousandCapturesIsThatAfterAHundred) {
  constexpr std::size_t allHandlers = 111;
  control::keepLogInMemory(false);
  host::Machine machine(model());
  host::Session session(host::Bundle::load(REAL_BUNDLE), machine);
  session.open();
  session.schedule();
  for (const host::MachineService& service : machine.services()) {
    session.registerService(service);
  }
  const auto capture = [handlers = control::stateHandlers()](int times) {
    std::size_t records = 0;
    for (int i = 0; i < times; ++i) {
      for (const os_state_handle_t handler : handlers) {
        records += control::captureState(handler, OS_STATE_API_REQUEST, "test") == nullptr ? 0 : 1;
      }
    }
    return records;
  };
  EXPECT_EQ(capture(100), 100 * allHandlers);
  const Holdings after100;
  EXPECT_EQ(capture(4900), 4900 * allHandlers);
  const std::size_t bytesAfter5000 = mallinfo2().uordblks; // by now the allocator's caches for each thread are full
  EXPECT_EQ(capture(5000), 5000 * allHandlers);
  const Holdings after10000;
  EXPECT_EQ(after10000.objects, after100.objects);
  EXPECT_TRUE(after10000 == after100);
  EXPECT_LT(mallinfo2().uordblks, bytesAfter5000 + std::size_t{5000} * 16)
      << "the smallest block lost by every capture is twice as much";
  EXPECT_TRUE(session.close());
  control::keepLogInMemory(true);
}

} // namespace
