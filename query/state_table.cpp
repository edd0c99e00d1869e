// The values of all reports, each with its path, walked in place.
#include <formats/value.h>
#include <formats/value_path.h>
#include <query/state.h>

#include <cstdint>

namespace vel::query {

namespace {

using formats::Array;
using formats::Dictionary;
using formats::Value;

// The columns, in this order.
enum class StateColumn : std::size_t { source, file, reportNumber, report, path, type, value };

TableInfo stateInfo() {
  return {"state",
          "the values in the reports, each with its path",
          {{"source", "TEXT", "the input, as it was named"},
           {"file", "TEXT", "the file of the report"},
           {"report_number", "INTEGER", "from 0: `report` in the tables of records"},
           {"report", "TEXT", "its title; may be empty"},
           {"path", "TEXT", "keys and numbers from 0, as velstat show"},
           {"type", "TEXT", "string, integer, real, boolean, data …"},
           {"value", "BLOB", "NULL for an empty dictionary or array"}}};
}

class StateCursor final : public Cursor {
public:
  explicit StateCursor(const Origin& origin) : inputs_(origin.sources.inputs()) {}

  void begin(int, std::string_view, std::span<sqlite3_value*>) override {
    input_ = report_ = 0;
    rowid_ = 0;
    levels_.clear();
    path_ = {};
    leaf_ = nullptr;
    skipEmpty();
    next();
  }

  void next() override {
    ++rowid_;
    if (leaf_ != nullptr && levels_.empty()) { // the last row was a whole report
      nextReport();
    }
    leaf_ = nullptr;
    while (input_ != inputs_.size()) {
      if (levels_.empty()) {
        enter(reportAt().value);
      } else {
        step();
      }
      if (leaf_ != nullptr) {
        return;
      }
    }
  }

  bool atEnd() const override { return leaf_ == nullptr; }

  void column(Result result, std::size_t column) override {
    switch (static_cast<StateColumn>(column)) {
    case StateColumn::source:
      return result.text(inputs_[input_].name);
    case StateColumn::file:
      return result.text(reportAt().file);
    case StateColumn::reportNumber:
      return result.number(report_);
    case StateColumn::report:
      return result.text(reportAt().title);
    case StateColumn::path:
      return result.text(path_.text());
    case StateColumn::type:
      return result.text(leaf_->typeName());
    case StateColumn::value:
      return writeLeaf(result, *leaf_);
    }
  }

  std::int64_t rowid() const override { return rowid_; }

private:
  // A dictionary or an array on the path to the leaf.
  struct Level {
    const Value* value;
    std::size_t next; // the index of the next member to visit
    bool hasPath;     // the path has a key of one of its members
  };

  const sources::Report& reportAt() const { return inputs_[input_].capture.reports[report_]; }

  static std::size_t sizeOf(const Value& value) {
    if (const auto* members = value.as<Dictionary>()) {
      return members->size();
    }
    const auto* items = value.as<Array>();
    return items == nullptr ? 0 : items->size();
  }

  // Goes to a value: a leaf becomes the next row, a value with members is walked.
  void enter(const Value& value) {
    if (sizeOf(value) == 0) {
      leaf_ = &value;
    } else {
      levels_.push_back({&value, 0, false});
    }
  }

  // Goes to the next member of the deepest level, or leaves that level.
  void step() {
    Level& level = levels_.back();
    if (level.hasPath) {
      path_.pop();
      level.hasPath = false;
    }
    if (level.next == sizeOf(*level.value)) {
      levels_.pop_back();
      if (levels_.empty()) {
        nextReport();
      }
      return;
    }
    const std::size_t number = level.next++;
    level.hasPath = true;
    if (const auto* members = level.value->as<Dictionary>()) {
      path_.push((*members)[number].key);
      enter((*members)[number].value);
    } else {
      path_.push(std::to_string(number));
      enter((*level.value->as<Array>())[number]);
    }
  }

  void nextReport() {
    ++report_;
    skipEmpty();
  }

  void skipEmpty() {
    while (input_ != inputs_.size() && report_ == inputs_[input_].capture.reports.size()) {
      ++input_;
      report_ = 0;
    }
  }

  static void writeLeaf(Result result, const Value& value) {
    if (const auto* text = value.as<std::string>()) {
      result.text(*text);
    } else if (const auto* number = value.as<std::int64_t>()) {
      result.integer(*number);
    } else if (const auto* real = value.as<double>()) {
      result.real(*real);
    } else if (const auto* flag = value.as<bool>()) {
      result.integer(*flag ? 1 : 0);
    } else if (const auto* data = value.as<formats::Bytes>()) {
      result.blob(data->data(), data->size());
    }
  }

  const std::vector<sources::InputInfo>& inputs_;
  std::size_t input_ = 0;
  std::size_t report_ = 0;
  std::vector<Level> levels_;
  formats::ValuePath path_;
  const Value* leaf_ = nullptr; // the row; null at the end
  std::int64_t rowid_ = 0;
};

class StateTable final : public Table {
public:
  StateTable() : Table(stateInfo()) {}

  void plan(sqlite3_index_info& index) const override {
    constexpr double some = 10'000;
    index.estimatedRows = static_cast<sqlite3_int64>(some);
    index.estimatedCost = some;
  }

  std::unique_ptr<Cursor> open(State&, Origin& origin) const override { return std::make_unique<StateCursor>(origin); }
};

} // namespace

std::unique_ptr<const Table> makeStateTable() {
  return std::make_unique<StateTable>();
}

} // namespace vel::query
