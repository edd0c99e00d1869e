// State records by their header.
#include <formats/state_record.h>
#include <host/cf_values.h>

#include <os/state.h>

#include <gtest/gtest.h>

#include <cstring>

namespace {

using namespace vel::formats;
using vel::control::Ref;

// A record of {"a": 1}, to be changed by a test.
Bytes makeRecord() {
  const auto data = Ref<CFDataRef>::adopt(
      CFPropertyListCreateData(kCFAllocatorDefault, vel::host::makeDictionary({{"a", {std::int64_t{1}}}}).get(),
                               kCFPropertyListBinaryFormat_v1_0, 0, nullptr));
  os_state_data_s header = {};
  header.type = OS_STATE_DATA_SERIALIZED_PROPERTY_LIST;
  header.dataSize = static_cast<std::uint32_t>(CFDataGetLength(data.get()));
  std::memcpy(header.title, "a title", 7);
  Bytes record(recordHeaderSize + header.dataSize);
  std::memcpy(record.data(), &header, recordHeaderSize);
  std::memcpy(record.data() + recordHeaderSize, CFDataGetBytePtr(data.get()), header.dataSize);
  return record;
}

std::string recordRefusal(const Bytes& bytes) {
  try {
    parseStateRecord(bytes);
  } catch (const StateRecordError& error) {
    return error.what();
  }
  return "(accepted)";
}

TEST(StateRecord, HeaderAndPropertyListAreRead) {
  const Bytes bytes = makeRecord();
  const StateRecord record = parseStateRecord(bytes);
  EXPECT_EQ(record.type, 1U);
  EXPECT_EQ(record.dataSize, bytes.size() - 200);
  EXPECT_EQ(record.title, "a title");
  EXPECT_EQ(record.decoderLibrary, "");
  EXPECT_EQ(record.decoderType, "");
  EXPECT_EQ(record.value, (Value{Dictionary{{"a", {std::int64_t{1}}}}}));
}

TEST(StateRecord, UnterminatedTitle_EndsWithItsField) {
  Bytes bytes = makeRecord();
  std::fill_n(bytes.begin() + 136, 64, std::byte{'t'});
  EXPECT_EQ(parseStateRecord(bytes).title, std::string(64, 't'));
}

TEST(StateRecord, ShorterThanItsHeader_IsRefused) {
  EXPECT_EQ(recordRefusal({}), "ends at offset 0: a state record has a header of 200 bytes");
  EXPECT_EQ(recordRefusal(Bytes(199)), "ends at offset 199: a state record has a header of 200 bytes");
  EXPECT_EQ(recordRefusal(Bytes(200)), "offset 0: type 0 is not that of a property list (1)");
}

TEST(StateRecord, OtherType_IsRefused) {
  Bytes bytes = makeRecord();
  bytes[0] = std::byte{2};
  EXPECT_EQ(recordRefusal(bytes), "offset 0: type 2 is not that of a property list (1)");
}

TEST(StateRecord, SizeThatIsNotThatOfTheData_IsRefused) {
  Bytes longer = makeRecord();
  const std::string size = std::to_string(longer.size() - 200);
  longer.push_back(std::byte{0});
  EXPECT_EQ(recordRefusal(longer), "offset 4: data size " + size + " where " + std::to_string(longer.size() - 200) +
                                       " bytes follow the header");
  Bytes larger = makeRecord();
  std::fill_n(larger.begin() + 4, 4, std::byte{0xFF});
  EXPECT_EQ(recordRefusal(larger), "offset 4: data size 4294967295 where " + size + " bytes follow the header");
}

TEST(StateRecord, DataThatIsNoPropertyList_IsRefused) {
  Bytes bytes = makeRecord();
  bytes[200] = std::byte{'x'};
  EXPECT_EQ(recordRefusal(bytes), "offset 200: not a binary property list");
}

} // namespace
