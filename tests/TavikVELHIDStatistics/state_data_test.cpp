// Packing property lists as state records, and the helpers that fill dictionaries.

#include "StateData.h"
#include "support/statistics_fixture.h"
#include <control/calls.h>

#include <gmock/gmock.h>

#include <cstdlib>
#include <cstring>

// The linker sends the plug-in's calloc here, so that a test can take the memory away.
namespace {
bool memoryIsOut = false;
}
extern "C" void* __real_calloc(std::size_t count, std::size_t size);
extern "C" void* __wrap_calloc(std::size_t count, std::size_t size);
void* __wrap_calloc(std::size_t count, std::size_t size) {
  return memoryIsOut ? nullptr : __real_calloc(count, size);
}

namespace vel::test {
namespace {

using formats::Value;

Ref<CFMutableDictionaryRef> dictionary() {
  return Ref<CFMutableDictionaryRef>::adopt(createDictionary());
}

struct StateData : testing::Test {
  ~StateData() override {
    memoryIsOut = false;
    control::clearFailures();
  }
};

TEST_F(StateData, Helpers_SetValuesOfTheirTypes) {
  auto state = dictionary();
  dictSetSInt32(state.get(), CFSTR("minus one"), 0xFFFFFFFF);
  dictSetSInt32(state.get(), CFSTR("least"), 0x80000000);
  dictSetSInt64(state.get(), CFSTR("wide minus one"), ~0ULL);
  dictSetSInt64(state.get(), CFSTR("widest"), 0x7FFFFFFFFFFFFFFF);
  dictSetCString(state.get(), CFSTR("text"), "KIP");
  EXPECT_EQ(CFNumberGetType(static_cast<CFNumberRef>(CFDictionaryGetValue(state.get(), CFSTR("least")))),
            kCFNumberSInt32Type);
  EXPECT_EQ(CFNumberGetType(static_cast<CFNumberRef>(CFDictionaryGetValue(state.get(), CFSTR("widest")))),
            kCFNumberSInt64Type);
  const control::StateRecord record(copyStateData(state.get(), "title"));
  EXPECT_EQ(parse(*record).value, (Value{formats::Dictionary{
                                      {"minus one", {std::int64_t{-1}}},
                                      {"least", {std::int64_t{INT32_MIN}}},
                                      {"wide minus one", {std::int64_t{-1}}},
                                      {"widest", {std::int64_t{INT64_MAX}}},
                                      {"text", {std::string("KIP")}},
                                  }}));
}

TEST_F(StateData, Helpers_SetNothingForValuesThatCannotBeMade) {
  auto state = dictionary();
  dictSetCString(state.get(), CFSTR("not ASCII"), "Caf\xC3\xA9");
  control::failCall("CFNumberCreate", 1, control::Failing::onwards);
  dictSetSInt32(state.get(), CFSTR("a"), 1);
  dictSetSInt64(state.get(), CFSTR("b"), 1);
  EXPECT_EQ(CFDictionaryGetCount(state.get()), 0);
}

TEST_F(StateData, Helpers_ReleaseTheirOwnReference) {
  auto state = dictionary();
  dictSetSInt32(state.get(), CFSTR("a"), 1);
  EXPECT_EQ(control::retainCount(CFDictionaryGetValue(state.get(), CFSTR("a"))), 1U);
}

TEST_F(StateData, Record_HasAHeaderOf200BytesAndTheListBehindIt) {
  auto state = dictionary();
  dictSetSInt32(state.get(), CFSTR("a"), 1);
  const std::size_t references = control::retainCount(state.get());
  const control::StateRecord record(copyStateData(state.get(), "A title"));
  ASSERT_NE(record, nullptr);
  EXPECT_EQ(control::retainCount(state.get()), references) << "the caller keeps its list";
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(record.get());
  EXPECT_EQ(std::vector<int>(bytes, bytes + 4), (std::vector<int>{1, 0, 0, 0}));
  std::uint32_t size = 0;
  std::memcpy(&size, bytes + 4, 4);
  EXPECT_THAT(std::vector<int>(bytes + 8, bytes + 136), testing::Each(0)) << "no decoder";
  char title[64] = "A title";
  EXPECT_EQ(std::memcmp(bytes + 136, title, 64), 0);
  EXPECT_EQ(std::memcmp(bytes + 200, "bplist00", 8), 0);
  const auto list = Ref<CFDataRef>::adopt(
      CFPropertyListCreateData(kCFAllocatorDefault, state.get(), kCFPropertyListBinaryFormat_v1_0, 0, nullptr));
  ASSERT_EQ(size, static_cast<std::size_t>(CFDataGetLength(list.get())));
  EXPECT_EQ(std::memcmp(bytes + 200, CFDataGetBytePtr(list.get()), size), 0);
}

struct TitleCase {
  std::size_t length;
  std::size_t kept;
};

TEST_F(StateData, Title_IsCutTo63Characters) {
  auto state = dictionary();
  for (const TitleCase& row : {TitleCase{0, 0}, {62, 62}, {63, 63}, {64, 63}, {65, 63}, {1000, 63}}) {
    const std::string title(row.length, 't');
    const control::StateRecord record(copyStateData(state.get(), title.c_str()));
    EXPECT_EQ(std::string(record->title, 64), title.substr(0, row.kept) + std::string(64 - row.kept, '\0'))
        << row.length;
  }
}

TEST_F(StateData, Title_IsTakenAsItStands) {
  auto state = dictionary();
  const control::StateRecord record(copyStateData(state.get(), "100% of %s, %d%% %n"));
  EXPECT_STREQ(record->title, "100% of %s, %d%% %n");
}

TEST_F(StateData, Packing_SerialisesAndReleasesTheData) {
  auto state = dictionary();
  EXPECT_THAT(recordingOf([&] { control::StateRecord(copyStateData(state.get(), "title")); }),
              testing::ElementsAre("CFPropertyListCreateData(default, 200, 0)", "CFRelease(CFData)"));
}

TEST_F(StateData, ListThatCannotBeSerialised_YieldsNull) {
  auto uuid = Ref<CFUUIDRef>::adopt(CFUUIDCreateFromUUIDBytes(nullptr, {}));
  auto list = dictionary();
  CFDictionarySetValue(list.get(), CFSTR("uuid"), uuid.get());
  EXPECT_EQ(copyStateData(list.get(), "title"), nullptr);
  control::failCall("CFPropertyListCreateData", 1);
  EXPECT_EQ(copyStateData(dictionary().get(), "title"), nullptr);
}

TEST_F(StateData, NoMemoryForTheRecord_YieldsNullAndReleasesTheData) {
  auto state = dictionary();
  const std::size_t data = control::liveObjects()["CFData"];
  memoryIsOut = true;
  EXPECT_EQ(copyStateData(state.get(), "title"), nullptr);
  memoryIsOut = false;
  EXPECT_EQ(control::liveObjects()["CFData"], data);
}

} // namespace
} // namespace vel::test
