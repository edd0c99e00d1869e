// The page's parts that need a small limit: which records are taken when there are too many, and queries without time.
#include <velstat/report/page.h>
#include <velstat/report/page_records.h>
#include <velstat/report/tables.h>

#include <gmock/gmock.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <string>
#include <unistd.h>
#include <vector>

namespace vel::stat {

namespace {

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::Pair;

namespace fs = std::filesystem;

// A file of records; the bytes of each are its number.
class RecordFile {
public:
  explicit RecordFile(std::size_t count) : path_(fs::temp_directory_path() / ("page_test" + std::to_string(getpid()))) {
    std::ofstream file(path_, std::ios::binary);
    for (std::uint64_t number = 1; number <= count; ++number) {
      char record[48] = {};
      std::memcpy(record + 16, &number, sizeof number);
      file.write(record, sizeof record);
    }
  }
  ~RecordFile() { fs::remove(path_); }
  RecordFile(const RecordFile&) = delete;
  RecordFile& operator=(const RecordFile&) = delete;

  std::string path() const { return path_; }

private:
  fs::path path_;
};

// The numbers of the records that were taken, from their bytes.
std::vector<std::uint64_t> taken(const PageRecords& records) {
  std::vector<std::uint64_t> numbers;
  for (std::size_t at = 0; at < records.bytes.size(); at += 48) {
    std::uint64_t number = 0;
    std::memcpy(&number, records.bytes.data() + at + 16, sizeof number);
    numbers.push_back(number);
  }
  return numbers;
}

std::vector<std::uint64_t> numbersOf(const PageRecords& records) {
  std::vector<std::uint64_t> numbers;
  for (const auto& [first, count] : records.parts) {
    numbers.resize(numbers.size() + count);
    std::iota(numbers.end() - static_cast<std::ptrdiff_t>(count), numbers.end(), first);
  }
  return numbers;
}

TEST(PageRecords, OfUpToTheLimit_AllAreTaken) {
  const RecordFile file(100);
  sources::Sources sources({file.path()}, {});
  EXPECT_THAT(countRecords(sources, 100).parts, ElementsAre(Pair(1, 100)));
  const PageRecords more = countRecords(sources, 99);
  EXPECT_EQ(more.count, 100U);
  EXPECT_TRUE(more.parts.empty() && more.bytes.empty());
}

TEST(PageRecords, OfTooMany_ThoseThatMatterAndSomeOfAllPartsAreTaken) {
  constexpr std::size_t most = 64 * 200;
  const RecordFile file(100'000);
  sources::Sources sources({file.path()}, {});
  PageRecords records = countRecords(sources, most);
  const std::uint64_t wanted[] = {50'000};
  const std::pair<std::uint64_t, std::uint64_t> spans[] = {{70'000, 70'300}};
  sampleRecords(records, sources, wanted, spans, most);
  EXPECT_EQ(taken(records), numbersOf(records)); // what the parts say
  EXPECT_LE(records.bytes.size(), most * 48);
  for (const std::uint64_t number : {1, 1000, 49'800, 50'000, 50'200, 70'000, 70'300, 99'100, 100'000}) {
    EXPECT_THAT(taken(records), Contains(number));
  }
  for (std::size_t i = 1; i < records.parts.size(); ++i) {
    EXPECT_LT(records.parts[i].first - records.parts[i - 1].first - records.parts[i - 1].second, 2000U) << i;
  }
}

TEST(PageRecords, WithMoreThatMatterThanFit_TheFirstAreTaken) {
  constexpr std::size_t most = 64 * 20;
  const RecordFile file(100'000);
  sources::Sources sources({file.path()}, {});
  PageRecords records = countRecords(sources, most);
  const std::uint64_t wanted[] = {50'000};
  const std::pair<std::uint64_t, std::uint64_t> spans[] = {{1, 100'000}};
  sampleRecords(records, sources, wanted, spans, most);
  EXPECT_LE(records.bytes.size(), most * 48);
  EXPECT_THAT(taken(records), Contains(50'000));
}

TEST(PageTables, FileThatUsesAnother_HasItAsATable) {
  EXPECT_THAT(pageTableSql("marks"), AllOf(HasSubstr("WITH presses AS MATERIALIZED (\nWITH step"),
                                           HasSubstr(")\n, lane("), Not(HasSubstr("-- rows"))));
  EXPECT_THAT(pageTableNames(), AllOf(Contains("marks"), Not(Contains("latencies"))));
}

TEST(Page, QueriesThatDoNotEnd_AreTold) {
  const RecordFile file(1'000'000);
  testing::internal::CaptureStderr();
  const ReportPage page = makeReportPage({file.path()}, {}, {.time = std::chrono::milliseconds(1)});
  const std::string told = testing::internal::GetCapturedStderr();
  EXPECT_FALSE(page.isSound);
  EXPECT_THAT(told, AllOf(HasSubstr("velstat: the presses: "), HasSubstr("damaged-log.sql: ")));
  EXPECT_THAT(page.pieces.at(1), HasSubstr("\"unfinished\": [\""));
}

} // namespace

} // namespace vel::stat
