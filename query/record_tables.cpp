// The tables of records: one of all records, and for each layout one of the records that show it.
#include <profile/layout.h>
#include <query/record_columns.h>
#include <query/record_filter.h>
#include <query/state.h>
#include <sources/record.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <optional>

namespace vel::query {

namespace {

using profile::Layout;
using sources::recordSize;

// Whether the plan asks for details, in sqlite3_index_info::idxNum.
enum PlanNumber { plain = 0, withDetails = 1 };

class RecordTable final : public Table {
public:
  RecordTable(TableInfo info, std::vector<RecordColumn> columns, const Layout* layout)
      : Table(std::move(info)), columns_(std::move(columns)), layout_(layout) {
    for (const RecordColumn& column : columns_) {
      filters_.push_back({column.info.name, column.filteredBy});
    }
  }

  void plan(sqlite3_index_info& index) const override {
    const std::string plan = planFilter(index, filters_);
    index.idxStr = sqlite3_mprintf("%s", plan.c_str());
    index.needToFreeIdxStr = 1;
    index.idxNum = needsDetails(index.colUsed) ? withDetails : plain;
    // All of the source is read even with filters, so the cost stays high: otherwise SQLite might read the source again
    // for each row of another table in a join.
    constexpr double allRows = 1e6;
    index.estimatedRows = static_cast<sqlite3_int64>(plan.empty() ? allRows : allRows / 20);
    index.estimatedCost = plan.empty() ? allRows : allRows * 0.9;
  }

  std::unique_ptr<Cursor> open(State& state, Origin& origin) const override;

  const std::vector<RecordColumn>& columns() const { return columns_; }
  const std::vector<FilterColumn>& filters() const { return filters_; }
  const Layout* layout() const { return layout_; }

private:
  // Bit 63 of `used` is set if any column from 63 on is used.
  bool needsDetails(sqlite3_uint64 used) const {
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      if (columns_[i].needsDetails && (used >> std::min<std::size_t>(i, 63) & 1) != 0) {
        return true;
      }
    }
    return false;
  }

  std::vector<RecordColumn> columns_;
  std::vector<FilterColumn> filters_; // one for each column
  const Layout* layout_;              // null: all records
};

class RecordCursor final : public Cursor {
public:
  RecordCursor(State& state, Origin& origin, const RecordTable& table)
      : state_(state), origin_(origin), table_(table), tools_(origin.sources, origin.times) {}

  void begin(int number, std::string_view plan, std::span<sqlite3_value*> values) override {
    needsDetails_ = number == withDetails;
    selection_ = makeSelection(plan, values, table_.filters());
    stream_.reset();
    count_ = at_ = 0;
    before_ = 0;
    if (!selection_) {
      return;
    }
    if (block_ == nullptr) {
      block_ = std::make_unique_for_overwrite<unsigned char[]>(blockRecords * recordSize);
    }
    details_.resize(needsDetails_ ? blockRecords : 0);
    stream_ = origin_.sources.records();
    seek();
  }

  void next() override {
    ++at_;
    seek();
  }

  bool atEnd() const override { return stream_ == nullptr; }

  void column(Result result, std::size_t column) override {
    const RecordColumn& chosen = table_.columns()[column];
    const RecordRow row{block_.get() + at_ * recordSize, needsDetails_ ? &details_[at_] : nullptr};
    chosen.write(result, row, chosen, tools_);
  }

  std::int64_t rowid() const override { return static_cast<std::int64_t>(before_ + at_) + 1; }

private:
  static constexpr std::size_t blockRecords = 512;

  // Goes to the next record at or after at_ that passes.
  void seek() {
    for (;;) {
      for (; at_ < count_; ++at_) {
        if (passes(block_.get() + at_ * recordSize)) {
          ++state_.recordsProduced;
          return;
        }
      }
      state_.requireTime();
      before_ += count_;
      at_ = 0;
      count_ = stream_->read({block_.get(), blockRecords * recordSize}, details_);
      if (count_ == 0) {
        stream_.reset();
        return;
      }
    }
  }

  bool passes(const unsigned char* record) const {
    if (!selection_->showsAll() && !selection_->passes(record)) {
      return false;
    }
    if (table_.layout() == nullptr) {
      return true;
    }
    const profile::ShownLayouts shown = profile::shown_layouts(record);
    return std::find(shown.begin(), shown.end(), table_.layout()) != shown.end();
  }

  State& state_;
  Origin& origin_;
  const RecordTable& table_;
  RecordTools tools_;
  std::optional<sources::Selection> selection_;
  std::unique_ptr<sources::RecordStream> stream_; // null at the end
  std::unique_ptr<unsigned char[]> block_;
  std::vector<sources::Details> details_; // of the block, if they are needed
  std::size_t count_ = 0;                 // of records in the block
  std::size_t at_ = 0;
  std::uint64_t before_ = 0; // records before the block
  bool needsDetails_ = false;
};

std::unique_ptr<Cursor> RecordTable::open(State& state, Origin& origin) const {
  return std::make_unique<RecordCursor>(state, origin, *this);
}

std::unique_ptr<const Table> makeTable(std::string name, std::string about, std::vector<RecordColumn> columns,
                                       const Layout* layout) {
  TableInfo info{std::move(name), std::move(about), {}};
  for (const RecordColumn& column : columns) {
    info.columns.push_back(column.info);
  }
  return std::make_unique<RecordTable>(std::move(info), std::move(columns), layout);
}

} // namespace

std::vector<std::unique_ptr<const Table>> makeRecordTables() {
  std::vector<std::unique_ptr<const Table>> tables;
  tables.push_back(makeTable("records", "every record", recordColumns(), nullptr));
  for (const Layout& layout : profile::all_layouts()) {
    tables.push_back(makeTable(sqlName(layout.name), "records that show the layout " + std::string(layout.name),
                               layoutColumns(layout), &layout));
  }
  return tables;
}

} // namespace vel::query
