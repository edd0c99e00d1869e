// One key of a store: in memory, and as a row of its table.
#pragma once

#include "services/tallystore/database.h"
#include "services/tallystore/distribution.h"
#include <control/tally.h>

#include <functional>
#include <string>

namespace vel::platform {

struct Operation {
  control::TallyOp op = control::TallyOp::clearScalar;
  std::int64_t scalar = 0;
  double sample = 0;
  std::uint64_t weight = 1; // of a pushed sample
};

struct Row {
  std::string key;
  control::TallyKind kind = control::TallyKind::scalar;
  control::TallyScalar scalar;
  Distribution distribution;
  std::optional<std::int64_t> firstSample;
  std::optional<std::int64_t> lastChange;
  std::optional<std::int64_t> lastClear;

  void apply(const Operation& operation, std::int64_t now);
  // Throws DatabaseError for a row in which a count is at the end of its range.
  void requireRoom() const;

private:
  void clear(std::int64_t now);
  void change(std::int64_t now);
  void add(std::int64_t value);
};

// The rows of one database, through statements that are prepared once.
class Rows {
public:
  // The database must outlive it. Statements that write are prepared only for Access::write.
  Rows(const Database& database, Access access);

  // Replaces the row by the database's row of its key and kind, or by an empty one if there is none.
  void load(Row& row) const;
  void save(const Row& row) const;
  // Passes all rows to `take`, the scalars first, otherwise in no order.
  void each(const std::function<void(const Row&)>& take) const;

private:
  const Database& database_;
  Statement loadScalar_;
  Statement loadDistribution_;
  Statement saveScalar_;
  Statement saveDistribution_;
};

} // namespace vel::platform
