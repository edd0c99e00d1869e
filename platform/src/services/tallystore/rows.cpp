// Reads and writes rows, and checks every column of a row that is read.
#include "services/tallystore/rows.h"

#include <limits>
#include <utility>

namespace vel::platform {

using control::TallyKind;
using control::TallyOp;

namespace {

constexpr char kSelectScalar[] = "SELECT key, first_sample, last_change, last_clear, value, overflows FROM scalar";
constexpr char kSelectDistribution[] =
    "SELECT key, first_sample, last_change, last_clear, count, ignored, samples FROM distribution";

constexpr char kSaveScalar[] = R"(
INSERT INTO scalar (key, first_sample, last_change, last_clear, value, overflows) VALUES (?1, ?2, ?3, ?4, ?5, ?6)
ON CONFLICT (key) DO UPDATE SET first_sample = ?2, last_change = ?3, last_clear = ?4, value = ?5, overflows = ?6)";

constexpr char kSaveDistribution[] = R"(
INSERT INTO distribution (key, first_sample, last_change, last_clear, count, ignored, samples, exact,
  sum, min, max, mean, standard_deviation, p50, p90, p99)
VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13, ?14, ?15, ?16)
ON CONFLICT (key) DO UPDATE SET first_sample = ?2, last_change = ?3, last_clear = ?4, count = ?5, ignored = ?6,
  samples = ?7, exact = ?8, sum = ?9, min = ?10, max = ?11, mean = ?12, standard_deviation = ?13,
  p50 = ?14, p90 = ?15, p99 = ?16)";

// The largest count that a column holds.
constexpr std::uint64_t kMostCounted = std::numeric_limits<std::int64_t>::max();

// The key for a message; a long one is cut after a whole character.
std::string nameOf(const Row& row) {
  constexpr std::size_t most = 64;
  if (row.key.size() <= most) {
    return row.key;
  }
  std::size_t end = most;
  while (end > 0 && (static_cast<unsigned char>(row.key[end]) & 0xC0) == 0x80) {
    --end;
  }
  return row.key.substr(0, end) + "…";
}

[[noreturn]] void refuseFull(const Row& row) {
  throw DatabaseError(nameOf(row) + ": cannot count any further: use a new store");
}

// A count that was written by us is not negative.
std::uint64_t countOf(const Statement& statement, int column) {
  const std::int64_t number = integerOf(statement, column);
  if (number < 0) {
    throw Unpackable("a count is below zero");
  }
  return static_cast<std::uint64_t>(number);
}

void read(const Statement& statement, Row& row) {
  row.firstSample = optionalOf(statement, 1);
  row.lastChange = optionalOf(statement, 2);
  row.lastClear = optionalOf(statement, 3);
  try {
    if (row.kind == TallyKind::scalar) {
      row.scalar = {integerOf(statement, 4), countOf(statement, 5)};
      return;
    }
    row.distribution = Distribution::unpack(bytesOf(statement, 6), countOf(statement, 5));
    if (row.distribution.summary().count != countOf(statement, 4)) {
      throw Unpackable();
    }
  } catch (const Unpackable& error) {
    throw DatabaseError("damaged (" + nameOf(row) + ": " + error.what() + ")");
  }
}

void readAll(const Statement& statement, TallyKind kind, const std::function<void(const Row&)>& take) {
  while (step(statement)) {
    Row row;
    row.key = textOf(statement, 0);
    row.kind = kind;
    read(statement, row);
    take(row);
  }
}

void bindRow(const Statement& statement, const Row& row) {
  bind(statement, 1, std::string_view(row.key));
  bind(statement, 2, row.firstSample);
  bind(statement, 3, row.lastChange);
  bind(statement, 4, row.lastClear);
}

struct Rewinding {
  explicit Rewinding(const Statement& used) : statement(used) {}
  ~Rewinding() { rewind(statement); }
  Rewinding(const Rewinding&) = delete;
  Rewinding& operator=(const Rewinding&) = delete;

  const Statement& statement;
};

std::int64_t signedCount(std::uint64_t count) {
  return static_cast<std::int64_t>(count);
}

} // namespace

void Row::change(std::int64_t now) {
  firstSample = firstSample.value_or(now);
  lastChange = now;
}

void Row::clear(std::int64_t now) {
  scalar = {};
  distribution.clear();
  firstSample.reset();
  lastClear = now;
}

// Stops at the end of the range, and counts that: a counter that wraps around would be wrong without a sign of it.
void Row::add(std::int64_t value) {
  if (__builtin_add_overflow(scalar.value, value, &scalar.value)) {
    scalar.value = value < 0 ? std::numeric_limits<std::int64_t>::min() : std::numeric_limits<std::int64_t>::max();
    ++scalar.overflows;
  }
}

void Row::apply(const Operation& operation, std::int64_t now) {
  switch (operation.op) {
  case TallyOp::clearScalar:
  case TallyOp::clearDistribution:
    return clear(now);
  case TallyOp::setScalar:
    scalar.value = operation.scalar;
    return change(now);
  case TallyOp::addScalar:
    add(operation.scalar);
    return change(now);
  case TallyOp::setDistribution:
    if (Distribution::takes(operation.sample)) {
      firstSample.reset();
      change(now);
    }
    return distribution.set(operation.sample);
  case TallyOp::pushDistribution:
    if (Distribution::takes(operation.sample)) {
      change(now);
    }
    return distribution.push(operation.sample, operation.weight);
  }
}

void Row::requireRoom() const {
  if (scalar.overflows == kMostCounted || distribution.isFull() || distribution.ignored() == kMostCounted) {
    refuseFull(*this);
  }
}

Rows::Rows(const Database& database, Access access)
    : database_(database), loadScalar_(prepare(database, (std::string(kSelectScalar) + " WHERE key = ?1").c_str())),
      loadDistribution_(prepare(database, (std::string(kSelectDistribution) + " WHERE key = ?1").c_str())) {
  if (access == Access::write) {
    saveScalar_ = prepare(database, kSaveScalar);
    saveDistribution_ = prepare(database, kSaveDistribution);
  }
}

void Rows::load(Row& row) const {
  const Statement& statement = row.kind == TallyKind::scalar ? loadScalar_ : loadDistribution_;
  Row stored;
  stored.key = row.key;
  stored.kind = row.kind;
  bind(statement, 1, std::string_view(row.key));
  const Rewinding inAnyCase(statement);
  if (step(statement)) {
    read(statement, stored);
  }
  row = std::move(stored);
}

void Rows::save(const Row& row) const {
  // A row that could not be read again is not written.
  if (row.scalar.overflows > kMostCounted || row.distribution.ignored() > kMostCounted ||
      !row.distribution.isPlausible()) {
    refuseFull(row);
  }
  if (row.kind == TallyKind::scalar) {
    bindRow(saveScalar_, row);
    bind(saveScalar_, 5, row.scalar.value);
    bind(saveScalar_, 6, signedCount(row.scalar.overflows));
    stepOnce(saveScalar_);
    return;
  }
  const control::TallyDistribution summary = row.distribution.summary();
  const std::string samples = row.distribution.pack();
  bindRow(saveDistribution_, row);
  bind(saveDistribution_, 5, signedCount(summary.count));
  bind(saveDistribution_, 6, signedCount(summary.ignored));
  bindBytes(saveDistribution_, 7, samples);
  bind(saveDistribution_, 8, std::int64_t{summary.exact});
  int parameter = 9;
  for (const double number : {summary.sum, summary.min, summary.max, summary.mean, summary.standardDeviation,
                              summary.p50, summary.p90, summary.p99}) {
    if (summary.count == 0) {
      bind(saveDistribution_, parameter++, std::optional<std::int64_t>());
    } else {
      bind(saveDistribution_, parameter++, number);
    }
  }
  stepOnce(saveDistribution_);
}

void Rows::each(const std::function<void(const Row&)>& take) const {
  readAll(prepare(database_, kSelectScalar), TallyKind::scalar, take);
  readAll(prepare(database_, kSelectDistribution), TallyKind::distribution, take);
}

} // namespace vel::platform
