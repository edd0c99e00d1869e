// Hostile analytics stores, with some bytes changed, or with any bytes as a distribution's samples. Such a store is
// refused and not changed; or its numbers are sound, more can be added, and it can be shown with output of bounded
// length.
#include "require.h"
#include <control/tally.h>
#include <velstat/tally/output.h>

#include <CoreFoundation/CoreFoundation.h>
#include <TallyStore/TallyStore.h>

#include <sqlite3.h>

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace {

using vel::fuzz::require;
using namespace vel::control;
namespace fs = std::filesystem;

struct Folder {
  fs::path path = [] {
    std::string name = (fs::temp_directory_path() / "fuzz-tally-XXXXXX").string();
    require(mkdtemp(name.data()) != nullptr, "no folder");
    return name;
  }();
  ~Folder() { fs::remove_all(path); }
};

std::string contentOf(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}
void write(const fs::path& file, const std::string& content) {
  std::ofstream(file, std::ios::binary) << content;
}

// A scalar, a distribution that is exact and one that is not.
std::string makeStore(const fs::path& file) {
  setTallyTime(1);
  keepTallyInMemory(false);
  openTallyStore(file);
  beginTallyBatch();
  TSClientAddValueForScalarKey(CFSTR("scalar"), 5);
  TSClientPushValueForDistributionKey(CFSTR("exact"), -1.5);
  for (int i = 0; i < 70; ++i) {
    TSClientPushValueForDistributionKey(CFSTR("coarse"), i - 30);
  }
  endTallyBatch();
  closeTallyStore();
  return contentOf(file);
}

// Each change takes four bytes: three for a place, modulo the size of the store, and the byte to put there.
void change(std::string& store, const std::uint8_t* data, std::size_t size) {
  for (; size >= 4; data += 4, size -= 4) {
    const std::size_t place =
        data[0] | static_cast<std::size_t>(data[1]) << 8 | static_cast<std::size_t>(data[2]) << 16;
    store[place % store.size()] = static_cast<char>(data[3]);
  }
}

// Stores the bytes as the packed samples of a distribution; the first byte is the count that the row claims.
void putSamples(const fs::path& file, const std::uint8_t* data, std::size_t size) {
  sqlite3* database = nullptr;
  sqlite3_stmt* statement = nullptr;
  sqlite3_open(file.c_str(), &database);
  sqlite3_prepare_v2(database, "UPDATE distribution SET count = ?1, samples = ?2 WHERE key = 'exact'", -1, &statement,
                     nullptr);
  sqlite3_bind_int(statement, 1, size == 0 ? 0 : data[0]);
  sqlite3_bind_blob64(statement, 2, size == 0 ? "" : static_cast<const void*>(data + 1), size == 0 ? 0 : size - 1,
                      SQLITE_STATIC);
  require(sqlite3_step(statement) == SQLITE_DONE, "samples were not put");
  sqlite3_finalize(statement);
  sqlite3_close(database);
}

void checkNumbers(const std::vector<TallyRow>& rows) {
  for (const TallyRow& row : rows) {
    const TallyDistribution& d = row.distribution;
    for (const double number : {d.sum, d.mean, d.standardDeviation}) {
      require(std::isfinite(number), "a number is not finite");
    }
    require(d.min <= d.p50 && d.p50 <= d.p90 && d.p90 <= d.p99 && d.p99 <= d.max, "percentiles are out of order");
    require(d.min <= d.mean && d.mean <= d.max, "the mean is none");
  }
}

// In every format, the output is at most `mostExpansion` times as long as the store.
void checkShown(const std::vector<TallyRow>& rows, std::size_t size) {
  using namespace vel::stat;
  try {
    Measure table(mostExpansion * size);
    tallyTable(table, rows, Style(false));
    Measure document(mostExpansion * size);
    JsonWriter json(document);
    tallyJson(json, rows);
    Measure metrics(mostExpansion * size);
    tallyOpenMetrics(metrics, rows);
  } catch (const TooLong&) {
    require(false, "a store takes too much room when it is shown");
  }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Folder folder;
  static const fs::path file = folder.path / "store";
  static const std::string whole = makeStore(file);
  if (size == 0) {
    return 0;
  }
  const bool samples = data[0] % 2 != 0;
  std::string store = whole;
  if (!samples) {
    change(store, data + 1, size - 1);
  }
  for (const auto& entry : fs::directory_iterator(folder.path)) {
    fs::remove(entry);
  }
  write(file, store);
  if (samples) {
    putSamples(file, data + 1, size - 1);
    store = contentOf(file);
  }

  std::vector<TallyRow> rows;
  try {
    rows = readTallyStore(file);
  } catch (const std::runtime_error&) {
    require(contentOf(file) == store, "a refused file was changed");
    return 0;
  }
  checkNumbers(rows);
  checkShown(rows, store.size());
  try {
    openTallyStore(file);
    beginTallyBatch();
    TSClientPushValueForDistributionKey(CFSTR("exact"), 7);
    TSClientAddValueForScalarKey(CFSTR("scalar"), 7);
    endTallyBatch();
    closeTallyStore();
    checkNumbers(readTallyStore(file));
  } catch (const std::runtime_error&) {
    require(!samples,
            "a store that was read could not be written"); // a damaged index shows only when the store is written
  }
  closeTallyStore();
  return 0;
}
