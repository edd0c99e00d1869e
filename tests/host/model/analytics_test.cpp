// Analytics batches: entries in words become the entries that the firmware would send.
#include <host/model/analytics.h>
#include <host/model/device_model.h>
#include <host/model/reply_layouts.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace vel::formats;
using namespace vel::host;

std::vector<std::string> entriesOf(const Bytes& batch) {
  std::vector<std::string> entries;
  for (std::size_t i = 0; i < batch.size(); ++i) {
    if (i % entrySize == 0) {
      entries.emplace_back();
    }
    constexpr char digits[] = "0123456789abcdef";
    entries.back() += digits[std::to_integer<unsigned>(batch[i]) >> 4];
    entries.back() += digits[std::to_integer<unsigned>(batch[i]) & 15];
  }
  return entries;
}

TEST(Analytics, EntriesInWords) {
  const DeviceModel model = readDeviceModel(std::filesystem::path(TEST_MODELS) / "good/contents.json");
  EXPECT_THAT(entriesOf(model.services.at(0).device->analytics.at(0)),
              testing::ElementsAre("30000000000000", // nothing
                                   "30010000000000", // clear
                                   "30022fffffffff", // set to -1
                                   "30032fffffff7f", // add
                                   "3004c800000000", // clear a distribution, of a key beyond the table
                                   "30052f00000100", // set to 1.0
                                   "3006150080ffff", // push -0.5
                                   "30ff0100400000"  // push 0.25 for 250 times
                                   ));
}

// The plug-in has the same list; its source is read, since nothing of it is linked here.
TEST(Analytics, MetricsAreThoseOfThePlugIn) {
  std::ifstream source(PLUG_IN_KEYS);
  const std::string_view opening = "    \"com.";
  std::vector<std::string> names;
  for (std::string line; std::getline(source, line);) {
    if (line.starts_with(opening)) {
      const std::size_t begin = opening.find("com");
      names.push_back(line.substr(begin, line.find('"', begin) - begin));
    }
  }
  EXPECT_EQ(names.size(), 48U);
  EXPECT_THAT(metricKeys(), testing::ElementsAreArray(names.begin(), names.end()));
}

TEST(Analytics, EntryIsAsLongAsItsLayout) {
  EXPECT_EQ(analyticsEntry().size, entrySize);
}

} // namespace
