// TallyStore from the outside: which operations were called, the file that keeps them, and what the file holds.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace vel::control {

enum class TallyOp { clearScalar, setScalar, addScalar, clearDistribution, setDistribution, pushDistribution };

struct TallyCall {
  TallyOp op = TallyOp::clearScalar;
  std::string key;
  std::int64_t scalar = 0; // for setScalar and addScalar
  double sample = 0;       // for setDistribution and pushDistribution
};

// The calls since the last clearTally, oldest first. [any thread]
std::vector<TallyCall> tallyCalls();
void clearTally(); // [any thread]
// Sets whether calls are kept in memory (the default). [any thread]
void keepTallyInMemory(bool keep);

// Opens the file that keeps every later operation, in place of the one that was open; creates it if needed. Throws
// std::runtime_error with path and cause, and then changes nothing: no file that is not a whole store is touched.
// docs/tally-store.md has the format. [any thread]
void openTallyStore(const std::filesystem::path& path);
// The files that a store at this path has or would have: itself first, then those that are next to it while it is in
// use. Symbolic links to the store are followed. [any thread]
std::vector<std::filesystem::path> tallyStoreFiles(const std::filesystem::path& path);
// Opens a store in memory in place of a file, for data that only this process reads. [any thread]
void openTallyStoreInMemory();
// Closes the store; later operations reach no store. A batch that was not ended is dropped. [any thread]
void closeTallyStore();

// The operations from begin to end, on any thread, are written as one: all of them or none. When endTallyBatch has
// returned they survive the end of this process, however it ends. Outside a batch each operation is written at once;
// one that cannot be written is lost, with a line on stderr for the first. Both do nothing when no store is open.
// endTallyBatch throws std::runtime_error with path and cause when the batch could not be written, and drops it.
// [any thread]
void beginTallyBatch();
void endTallyBatch();

// Sets the time that a store records for operations, in microseconds since the Unix epoch; none: the system's. [any
// thread]
void setTallyTime(std::optional<std::int64_t> microseconds);

enum class TallyKind { scalar, distribution };

struct TallyScalar {
  std::int64_t value = 0;
  std::uint64_t overflows = 0; // additions since the last clear that stopped at the end of the range
};

// Without samples (count 0) all the numbers are 0.
struct TallyDistribution {
  std::uint64_t count = 0;
  double sum = 0;
  double min = 0;
  double max = 0;
  double mean = 0;
  double standardDeviation = 0; // of the population: divided by count, not count - 1
  double p50 = 0;
  double p90 = 0;
  double p99 = 0;
  bool exact = true;         // true: the three percentiles are samples; false: each is within 1 % of one
  std::uint64_t ignored = 0; // samples since the last clear that are not numbers, or too large to add up
};

// One key of a store. A key may name a scalar and a distribution at once. Times are in microseconds since the Unix
// epoch.
struct TallyRow {
  std::string key;
  TallyKind kind = TallyKind::scalar;
  TallyScalar scalar;                      // when it is one
  TallyDistribution distribution;          // when it is one
  std::optional<std::int64_t> firstSample; // when the first sample that still counts was set, added or pushed
  std::optional<std::int64_t> lastChange;  // set, added or pushed
  std::optional<std::int64_t> lastClear;
};

// What a store holds, by key; its scalar before its distribution. Another process may be writing: the rows are those
// after its last whole batch. Throws std::runtime_error with path and cause. [any thread]
std::vector<TallyRow> readTallyStore(const std::filesystem::path& path);

// The same for the open store. [any thread]
std::vector<TallyRow> tallyRows();
// The content of a store file with the data of the open store in memory. [any thread]
std::string tallyImage();

} // namespace vel::control
