// The I/O registry as callers see it: matching, navigation, references, plug-ins and connections.
#include "services_fixture.h"

#include <IOKit/IOCFPlugIn.h>
#include <IOKit/IOKitLib.h>
#include <mach/mach.h>

#include <array>
#include <functional>
#include <memory>
#include <stdexcept>

using namespace vel::control;

namespace {

constexpr kern_return_t success = 0;
constexpr io_object_t neverAHandle = 0xFFFFFFF0;

io_service_t find(CFDictionaryRef matching) {
  return IOServiceGetMatchingService(kIOMasterPortDefault, matching);
}
io_service_t findName(const char* name) {
  return find(IOServiceNameMatching(name));
}

std::string nameOf(io_registry_entry_t entry) {
  io_name_t name;
  return IORegistryEntryGetName(entry, name) == success ? name : "?";
}

class Registry : public Services {};

TEST_F(Registry, Matching_FindsByIDNameAndClass) {
  addRegistryEntry({.name = "a", .className = "A", .id = 10});
  addRegistryEntry({.name = "b", .className = "B", .id = 0xFFFFFFFFFFFFFFFF});
  addRegistryEntry({.name = "b", .className = "C", .id = 30});
  addRegistryEntry({.name = "C", .className = "c", .id = 40});
  struct Row {
    const char* what;
    CFMutableDictionaryRef matching;
    const char* found;
  };
  const Row rows[] = {
      {"an id", IORegistryEntryIDMatching(10), "a"},
      {"an id of all bits", IORegistryEntryIDMatching(0xFFFFFFFFFFFFFFFF), "b"},
      {"an unknown id", IORegistryEntryIDMatching(11), "?"},
      {"id 0", IORegistryEntryIDMatching(0), "?"},
      {"a name", IOServiceNameMatching("a"), "a"},
      {"a name in another case", IOServiceNameMatching("B"), "?"},
      {"a class", IOServiceMatching("C"), "b"},
      {"a class, not a name", IOServiceMatching("a"), "?"},
      {"a name, not a class", IOServiceNameMatching("C"), "C"},
      {"part of a name", IOServiceNameMatching(""), "?"},
  };
  for (const auto& row : rows) {
    const auto entry = find(row.matching);
    EXPECT_EQ(nameOf(entry), row.found) << row.what;
    EXPECT_EQ(IOObjectRelease(entry), entry == 0 ? kIOReturnBadArgument : success) << row.what;
  }
}

TEST_F(Registry, Matching_OfSeveralTakesTheOneAddedFirst) {
  addRegistryEntry({.name = "later by id", .className = "A", .id = 20});
  addRegistryEntry({.name = "earlier by id", .className = "A", .id = 10});
  EXPECT_EQ(nameOf(find(IOServiceMatching("A"))), "later by id");
}

TEST_F(Registry, Matching_NeedsEveryCriterion) {
  addRegistryEntry({.name = "n", .className = "A"});
  addRegistryEntry({.name = "n", .className = "B"});
  auto* const both = IOServiceNameMatching("n");
  CFDictionarySetValue(both, CFSTR("IOProviderClass"), CFSTR("B"));
  const auto entry = find(both);
  io_registry_entry_t second = find(IOServiceMatching("B"));
  EXPECT_NE(entry, 0U);
  EXPECT_EQ(entry, second);
  auto* const unknown = IOServiceNameMatching("n");
  CFDictionarySetValue(unknown, CFSTR("IOPropertyMatch"), CFSTR("B"));
  EXPECT_EQ(find(unknown), 0U);
}

TEST_F(Registry, Matching_ByNothingOrOddValuesFindsNothing) {
  addRegistryEntry({.name = "n", .className = "A"});
  EXPECT_EQ(find(nullptr), 0U);
  EXPECT_EQ(find(strings({}).release()), 0U);
  EXPECT_EQ(find(strings({{"IORegistryEntryID", "1"}}).release()), 0U);
  EXPECT_EQ(find(CFDictionaryCreateMutable(nullptr, 0, nullptr, nullptr)), 0U);
  auto* const pointers = CFDictionaryCreateMutable(nullptr, 0, nullptr, nullptr);
  CFDictionarySetValue(pointers, "IONameMatch", "n");
  EXPECT_EQ(find(pointers), 0U);
  auto* const number = IOServiceNameMatching("n");
  CFDictionarySetValue(number, CFSTR("IONameMatch"), kCFBooleanTrue);
  EXPECT_EQ(find(number), 0U);
  EXPECT_EQ(IOServiceNameMatching(nullptr), nullptr);
  EXPECT_EQ(IOServiceMatching("\xFF"), nullptr);
  EXPECT_EQ(IOServiceGetMatchingService(7, IOServiceNameMatching("n")), 0U);
}

TEST_F(Registry, Matching_ConsumesOneReferenceAlwaysFoundOrNot) {
  addRegistryEntry({.name = "n"});
  for (const char* const name : {"n", "missing"}) {
    const auto matching = Ref<CFMutableDictionaryRef>::adopt(IOServiceNameMatching(name));
    CFRetain(matching.get());
    EXPECT_EQ(retainCount(matching.get()), 2U);
    findName(name);
    find(matching.get());
    EXPECT_EQ(retainCount(matching.get()), 1U) << name;
  }
  const auto matching = Ref<CFMutableDictionaryRef>::adopt(IOServiceNameMatching("n"));
  CFRetain(matching.get());
  failCall("IOServiceGetMatchingService", 1);
  EXPECT_EQ(find(matching.get()), 0U);
  EXPECT_EQ(retainCount(matching.get()), 1U);
}

TEST_F(Registry, ParentsAndChildren_AreFoundInTheServicePlane) {
  const auto root = addRegistryEntry({.name = "root"});
  const auto first = addRegistryEntry({.name = "first", .parent = root});
  addRegistryEntry({.name = "second", .parent = root});
  addRegistryEntry({.name = "leaf", .parent = first});
  struct Row {
    const char* from;
    kern_return_t (*step)(io_registry_entry_t, const char*, io_registry_entry_t*);
    const char* plane;
    kern_return_t result;
    const char* found;
  };
  const Row rows[] = {
      {"leaf", IORegistryEntryGetParentEntry, "IOService", success, "first"},
      {"second", IORegistryEntryGetParentEntry, "IOService", success, "root"},
      {"root", IORegistryEntryGetParentEntry, "IOService", kIOReturnNoDevice, "?"},
      {"root", IORegistryEntryGetChildEntry, "IOService", success, "first"},
      {"leaf", IORegistryEntryGetChildEntry, "IOService", kIOReturnNoDevice, "?"},
      {"leaf", IORegistryEntryGetParentEntry, "IOPower", kIOReturnBadArgument, "?"},
      {"root", IORegistryEntryGetChildEntry, "ioservice", kIOReturnBadArgument, "?"},
      {"root", IORegistryEntryGetChildEntry, nullptr, kIOReturnBadArgument, "?"},
      {"missing", IORegistryEntryGetParentEntry, "IOService", kIOReturnBadArgument, "?"},
  };
  for (const auto& row : rows) {
    const auto from = findName(row.from);
    io_registry_entry_t found = 0;
    EXPECT_EQ(row.step(from, row.plane, &found), row.result) << row.from << " " << row.found;
    EXPECT_EQ(nameOf(found), row.found) << row.from;
    IOObjectRelease(found);
    IOObjectRelease(from);
  }
  EXPECT_EQ(registryReferences(), 0U);
}

TEST_F(Registry, BrokenParent_AnswersAsTold) {
  const auto root = addRegistryEntry({.name = "root"});
  const auto failing = addRegistryEntry({.name = "failing", .parent = root});
  const auto empty = addRegistryEntry({.name = "empty", .parent = root});
  breakParent(failing, kIOReturnNotReady);
  breakParent(empty, 0);
  io_registry_entry_t parent = 99;
  EXPECT_EQ(IORegistryEntryGetParentEntry(findName("failing"), kIOServicePlane, &parent), kIOReturnNotReady);
  EXPECT_EQ(parent, 0U);
  parent = 99;
  EXPECT_EQ(IORegistryEntryGetParentEntry(findName("empty"), kIOServicePlane, &parent), success);
  EXPECT_EQ(parent, 0U);
}

TEST_F(Registry, LongName_IsCutToItsBuffer) {
  addRegistryEntry({.name = std::string(200, 'x'), .className = "long"});
  EXPECT_EQ(nameOf(find(IOServiceMatching("long"))), std::string(127, 'x'));
}

TEST_F(Registry, Properties_AreCopiedAndFollowTheirReplacement) {
  const auto id = addRegistryEntry({.name = "n", .properties = strings({{"key", "old"}})});
  const auto entry = findName("n");
  const auto read = [&](const char* key) -> std::string {
    const auto name = Ref<CFStringRef>::adopt(CFStringCreateWithCString(nullptr, key, kCFStringEncodingUTF8));
    const auto value = Ref<CFTypeRef>::adopt(IORegistryEntryCreateCFProperty(entry, name.get(), nullptr, 0));
    return value ? utf8(static_cast<CFStringRef>(value.get())) : "(none)";
  };
  EXPECT_EQ(read("key"), "old");
  EXPECT_EQ(read("other"), "(none)");
  const auto kept = Ref<CFTypeRef>::adopt(IORegistryEntryCreateCFProperty(entry, CFSTR("key"), nullptr, 0));
  setRegistryProperties(id, strings({{"key", "new"}}));
  EXPECT_EQ(read("key"), "new");
  EXPECT_EQ(utf8(static_cast<CFStringRef>(kept.get())), "old");
  setRegistryProperties(id, {});
  EXPECT_EQ(read("key"), "(none)");
  EXPECT_EQ(IORegistryEntryCreateCFProperty(entry, nullptr, nullptr, 0), nullptr);
  EXPECT_EQ(IORegistryEntryCreateCFProperty(neverAHandle, CFSTR("key"), nullptr, 0), nullptr);
}

TEST_F(Registry, Handles_AreCountedAndDieWithTheirLastReference) {
  addRegistryEntry({.name = "n"});
  const auto entry = findName("n");
  EXPECT_EQ(findName("n"), entry);
  EXPECT_EQ(registryReferences(), 2U);
  EXPECT_EQ(IOObjectRelease(entry), success);
  EXPECT_EQ(nameOf(entry), "n");
  EXPECT_EQ(IOObjectRelease(entry), success);
  EXPECT_EQ(registryReferences(), 0U);

  io_name_t name;
  io_object_t other = 0;
  IOCFPlugInInterface** plugIn = nullptr;
  EXPECT_EQ(IOObjectRelease(entry), kIOReturnBadArgument);
  EXPECT_EQ(IORegistryEntryGetName(entry, name), kIOReturnBadArgument);
  EXPECT_EQ(IORegistryEntryGetParentEntry(entry, kIOServicePlane, &other), kIOReturnBadArgument);
  EXPECT_EQ(IORegistryEntryGetChildEntry(entry, kIOServicePlane, &other), kIOReturnBadArgument);
  EXPECT_EQ(IOServiceOpen(entry, mach_task_self(), 0, &other), kIOReturnBadArgument);
  EXPECT_EQ(IOCreatePlugInInterfaceForService(entry, kIOCFPlugInInterfaceID, kIOCFPlugInInterfaceID, &plugIn, nullptr),
            kIOReturnBadArgument);
  EXPECT_NE(findName("n"), entry) << "a dead handle is not given out again";
}

TEST_F(Registry, ReleasingWhatIsNone_IsABadArgument) {
  EXPECT_EQ(IOObjectRelease(0), kIOReturnBadArgument);
  EXPECT_EQ(IOObjectRelease(neverAHandle), kIOReturnBadArgument);
}

TEST_F(Registry, AddingAndChanging_RefuseWhatCannotBe) {
  addRegistryEntry({.name = "n", .id = 7});
  struct Row {
    std::function<void()> act;
    const char* error;
  };
  const Row rows[] = {
      {[] { addRegistryEntry({.name = "again", .id = 7}); }, "registry id 7 is taken"},
      {[] { addRegistryEntry({.name = "orphan", .parent = 8, .id = 9}); }, "no registry entry 8 to be a parent"},
      {[] { addRegistryEntry({.name = "own parent", .parent = 9, .id = 9}); }, "no registry entry 9 to be a parent"},
      {[] { breakParent(8, 0); }, "no registry entry 8"},
      {[] { setRegistryProperties(8, {}); }, "no registry entry 8"},
      {[] { attachUserClient(8, nullptr); }, "no registry entry 8"},
      {[] { attachPlugIn(8, kIOCFPlugInInterfaceID, {}); }, "no registry entry 8"},
  };
  for (const auto& row : rows) {
    try {
      row.act();
      ADD_FAILURE() << row.error;
    } catch (const std::invalid_argument& error) {
      EXPECT_STREQ(error.what(), row.error);
    }
  }
  EXPECT_EQ(findName("again"), 0U);
  EXPECT_EQ(findName("orphan"), 0U);
  EXPECT_EQ(addRegistryEntry({.name = "new", .id = 9}), 9U) << "a refused entry takes no id";
}

TEST_F(Registry, FreeIDs_SkipThoseThatAreTaken) {
  const auto first = addRegistryEntry({.name = "a"});
  addRegistryEntry({.name = "b", .id = first + 1});
  EXPECT_EQ(addRegistryEntry({.name = "c"}), first + 2);
}

TEST_F(Registry, PlugIns_ComeFromTheFactoryOfTheirType) {
  CFUUIDRef type = CFUUIDGetConstantUUIDWithBytes(nullptr, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16);
  const auto id = addRegistryEntry({.name = "n"});
  IOCFPlugInInterface table{};
  IOCFPlugInInterface* object = &table;
  const auto create = [&](CFUUIDRef wanted, CFUUIDRef interface) {
    IOCFPlugInInterface** plugIn = &object;
    SInt32 score = 5;
    const auto entry = findName("n");
    const auto result = IOCreatePlugInInterfaceForService(entry, wanted, interface, &plugIn, &score);
    IOObjectRelease(entry);
    EXPECT_EQ(score, 0);
    return std::pair(result, plugIn);
  };
  using Result = std::pair<kern_return_t, IOCFPlugInInterface**>;
  EXPECT_EQ(create(type, kIOCFPlugInInterfaceID), Result(kIOReturnNotFound, nullptr));
  attachPlugIn(id, type, [](IOCFPlugInInterface***) { return kIOReturnNotReady; });
  EXPECT_EQ(create(type, kIOCFPlugInInterfaceID), Result(kIOReturnNotReady, nullptr));
  attachPlugIn(id, type, [&](IOCFPlugInInterface*** plugIn) {
    *plugIn = &object;
    return success;
  });
  EXPECT_EQ(create(type, kIOCFPlugInInterfaceID), Result(success, &object));
  EXPECT_EQ(create(kIOCFPlugInInterfaceID, kIOCFPlugInInterfaceID), Result(kIOReturnNotFound, nullptr));
  EXPECT_EQ(create(type, type), Result(kIOReturnUnsupported, nullptr));
}

TEST_F(Registry, PlugIns_NeedTypeInterfaceAndAPlaceForTheResult) {
  addRegistryEntry({.name = "n"});
  const auto entry = findName("n");
  CFUUIDRef const id = kIOCFPlugInInterfaceID;
  IOCFPlugInInterface** plugIn = nullptr;
  EXPECT_EQ(IOCreatePlugInInterfaceForService(entry, nullptr, id, &plugIn, nullptr), kIOReturnBadArgument);
  EXPECT_EQ(IOCreatePlugInInterfaceForService(entry, id, nullptr, &plugIn, nullptr), kIOReturnBadArgument);
  EXPECT_EQ(IOCreatePlugInInterfaceForService(entry, id, id, nullptr, nullptr), kIOReturnBadArgument);
}

// Notes what it was asked, and answers as told.
class Client final : public UserClient {
public:
  IOReturn open(std::uint32_t type) override {
    openedWith = type;
    return openResult;
  }
  IOReturn call(std::uint32_t selector, std::span<const std::uint64_t> scalars, std::span<const std::byte> input,
                std::span<std::byte> output, std::size_t& reported) override {
    calledWith = selector;
    scalarsIn.assign(scalars.begin(), scalars.end());
    bytesIn = input.size();
    capacity = output.size();
    std::fill(output.begin(), output.end(), std::byte{0xAB});
    reported = claimed;
    return callResult;
  }

  IOReturn openResult = 0;
  IOReturn callResult = 0;
  std::size_t claimed = 0;
  std::uint32_t openedWith = 0;
  std::uint32_t calledWith = 0;
  std::vector<std::uint64_t> scalarsIn;
  std::size_t bytesIn = 0;
  std::size_t capacity = 0;
};

class Connections : public Services {
protected:
  void SetUp() override {
    const auto id = addRegistryEntry({.name = "n"});
    attachUserClient(id, client_);
    service_ = findName("n");
  }
  io_connect_t open() {
    io_connect_t connection = 0;
    EXPECT_EQ(IOServiceOpen(service_, mach_task_self(), 3, &connection), success);
    return connection;
  }

  std::shared_ptr<Client> client_ = std::make_shared<Client>();
  io_service_t service_ = 0;
};

TEST_F(Connections, AreCountedFromOpenToClose) {
  const auto connection = open();
  EXPECT_NE(connection, 0U);
  EXPECT_EQ(client_->openedWith, 3U);
  EXPECT_NE(open(), connection);
  EXPECT_EQ(openConnections(), 2U);
  EXPECT_EQ(registryReferences(), 3U);
  EXPECT_EQ(IOServiceClose(connection), success);
  EXPECT_EQ(openConnections(), 1U);
  EXPECT_EQ(IOServiceClose(connection), kIOReturnBadArgument);
  EXPECT_EQ(IOConnectCallMethod(connection, 0, nullptr, 0, nullptr, 0, nullptr, nullptr, nullptr, nullptr),
            kIOReturnBadArgument);
  EXPECT_EQ(IOServiceClose(service_), kIOReturnBadArgument);
}

TEST_F(Connections, OpeningThatFails_LeavesNone) {
  io_connect_t connection = 9;
  client_->openResult = kIOReturnExclusiveAccess;
  EXPECT_EQ(IOServiceOpen(service_, mach_task_self(), 0, &connection), kIOReturnExclusiveAccess);
  EXPECT_EQ(connection, 0U);
  addRegistryEntry({.name = "no client"});
  EXPECT_EQ(IOServiceOpen(findName("no client"), mach_task_self(), 0, &connection), kIOReturnUnsupported);
  EXPECT_EQ(openConnections(), 0U);
}

TEST_F(Connections, KeepTheirClientWhenTheEntryGetsAnother) {
  const auto connection = open();
  client_->claimed = 5;
  const std::weak_ptr<Client> watched = client_;
  vel::control::resetRegistry();
  const auto id = addRegistryEntry({.name = "m"});
  auto other = std::make_shared<Client>();
  const std::weak_ptr<Client> otherWatched = other;
  attachUserClient(id, other);
  io_connect_t second = 0;
  const auto service = findName("m");
  ASSERT_EQ(IOServiceOpen(service, mach_task_self(), 0, &second), success);
  attachUserClient(id, nullptr);
  other.reset();
  EXPECT_FALSE(otherWatched.expired());
  EXPECT_EQ(IOConnectCallMethod(second, 0, nullptr, 0, nullptr, 0, nullptr, nullptr, nullptr, nullptr), success);
  EXPECT_EQ(IOServiceClose(second), success);
  EXPECT_TRUE(otherWatched.expired());
  client_.reset();
  EXPECT_TRUE(watched.expired()) << "the reset dropped the connection, too";
  EXPECT_EQ(IOServiceClose(connection), kIOReturnBadArgument);
}

TEST_F(Connections, Calls_PassScalarsBytesAndCapacity) {
  const auto connection = open();
  const std::uint64_t scalars[] = {1, 0xFFFFFFFFFFFFFFFF};
  const std::array<std::byte, 3> input{};
  std::array<std::byte, 8> output{};
  std::size_t size = 4;
  std::uint32_t scalarsOut = 7;
  client_->claimed = 2;
  EXPECT_EQ(IOConnectCallMethod(connection, 9, scalars, 2, input.data(), input.size(), nullptr, &scalarsOut,
                                output.data(), &size),
            success);
  EXPECT_EQ(client_->calledWith, 9U);
  EXPECT_EQ(client_->scalarsIn, std::vector<std::uint64_t>(std::begin(scalars), std::end(scalars)));
  EXPECT_EQ(client_->bytesIn, 3U);
  EXPECT_EQ(client_->capacity, 4U);
  EXPECT_EQ(size, 2U);
  EXPECT_EQ(scalarsOut, 0U);
  EXPECT_EQ(output[3], std::byte{0xAB});
  EXPECT_EQ(output[4], std::byte{0});
}

TEST_F(Connections, ReportedLength_PassesThroughAboveTheCapacity) {
  const auto connection = open();
  std::array<std::byte, 8> output{};
  for (const std::size_t claimed : {std::size_t{0}, std::size_t{4}, std::size_t{5}, SIZE_MAX}) {
    std::size_t size = 4;
    client_->claimed = claimed;
    EXPECT_EQ(IOConnectCallMethod(connection, 0, nullptr, 0, nullptr, 0, nullptr, nullptr, output.data(), &size),
              success);
    EXPECT_EQ(size, claimed);
    EXPECT_EQ(output[4], std::byte{0});
  }
}

TEST_F(Connections, NullPointers_MeanNone) {
  const auto connection = open();
  std::size_t size = 100;
  EXPECT_EQ(IOConnectCallMethod(connection, 0, nullptr, 5, nullptr, 6, nullptr, nullptr, nullptr, &size), success);
  EXPECT_TRUE(client_->scalarsIn.empty());
  EXPECT_EQ(client_->bytesIn, 0U);
  EXPECT_EQ(client_->capacity, 0U);
  std::byte output[4];
  EXPECT_EQ(IOConnectCallMethod(connection, 0, nullptr, 0, nullptr, 0, nullptr, nullptr, output, nullptr), success);
  EXPECT_EQ(client_->capacity, 0U);
}

TEST_F(Connections, CallThatFails_LeavesTheLengths) {
  const auto connection = open();
  std::byte output[4];
  std::size_t size = sizeof(output);
  std::uint32_t scalarsOut = 7;
  client_->claimed = 1;
  client_->callResult = kIOReturnUnderrun;
  EXPECT_EQ(IOConnectCallMethod(connection, 0, nullptr, 0, nullptr, 0, nullptr, &scalarsOut, output, &size),
            kIOReturnUnderrun);
  EXPECT_EQ(size, sizeof(output));
  EXPECT_EQ(scalarsOut, 7U);
}

} // namespace
