// The tables of what is known only after reading all records: runs of records, and defects.
#include <query/state.h>
#include <sources/record.h>

#include <cstddef>
#include <utility>

namespace vel::query {

namespace {

using sources::Details;
using sources::Finding;
using sources::Location;
using sources::Run;

// Reads all records once, and keeps the findings and runs of their stream.
const RecordNotes& notesOf(State& state, Origin& origin) {
  if (!origin.notes) {
    constexpr std::size_t blockRecords = 512;
    std::vector<unsigned char> block(blockRecords * sources::recordSize);
    std::vector<Details> details(blockRecords);
    const auto stream = origin.sources.records();
    while (stream->read(block, details) != 0) {
      state.requireTime();
    }
    origin.notes = RecordNotes{stream->findings(), stream->runs()};
  }
  return *origin.notes;
}

template <class Item>
struct ReadingColumn {
  ColumnInfo info;
  void (*write)(Result, const Origin&, const Item&, std::size_t number);
};

// Returns the items of a table, one for each row.
template <class Item>
using Collect = std::vector<const Item*> (*)(State&, Origin&);

template <class Item>
class ReadingTable final : public Table {
public:
  ReadingTable(const char* name, const char* about, Collect<Item> collect, std::vector<ReadingColumn<Item>> columns)
      : Table(infoOf(name, about, columns)), collect_(collect), columns_(std::move(columns)) {}

  // The table costs one reading of all records, even for few rows.
  void plan(sqlite3_index_info& index) const override {
    constexpr double few = 100;
    constexpr double oneReading = 1e5;
    index.estimatedRows = static_cast<sqlite3_int64>(few);
    index.estimatedCost = oneReading;
  }

  std::unique_ptr<Cursor> open(State& state, Origin& origin) const override {
    return std::make_unique<Items>(state, origin, *this);
  }

private:
  class Items final : public Cursor {
  public:
    Items(State& state, Origin& origin, const ReadingTable& table) : state_(state), origin_(origin), table_(table) {}

    void begin(int, std::string_view, std::span<sqlite3_value*>) override {
      items_ = table_.collect_(state_, origin_);
      at_ = 0;
    }
    void next() override { ++at_; }
    bool atEnd() const override { return at_ == items_.size(); }
    void column(Result result, std::size_t column) override {
      table_.columns_[column].write(result, origin_, *items_[at_], at_);
    }
    std::int64_t rowid() const override { return static_cast<std::int64_t>(at_) + 1; }

  private:
    State& state_;
    Origin& origin_;
    const ReadingTable& table_;
    std::vector<const Item*> items_;
    std::size_t at_ = 0;
  };

  static TableInfo infoOf(const char* name, const char* about, const std::vector<ReadingColumn<Item>>& columns) {
    TableInfo info{name, about, {}};
    for (const ReadingColumn<Item>& column : columns) {
      info.columns.push_back(column.info);
    }
    return info;
  }

  Collect<Item> collect_;
  std::vector<ReadingColumn<Item>> columns_;
};

template <class Item>
void append(std::vector<const Item*>& pointers, const std::vector<Item>& items) {
  for (const Item& item : items) {
    pointers.push_back(&item);
  }
}

template <auto Member, class Item>
void numberMember(Result result, const Origin&, const Item& item, std::size_t) {
  result.number(item.*Member);
}

const char* startName(Run::Start start) {
  constexpr const char* names[] = {"first", "restarted", "clock-back"};
  return names[static_cast<std::size_t>(start)];
}

std::unique_ptr<const Table> makeRuns() {
  return std::make_unique<ReadingTable<Run>>(
      "runs", "the parts of logs between restarts",
      [](State& state, Origin& origin) {
        std::vector<const Run*> runs;
        append(runs, notesOf(state, origin).runs);
        return runs;
      },
      std::vector<ReadingColumn<Run>>{
          {{"source", "TEXT", "the input of its first record"},
           [](Result result, const Origin& origin, const Run& run, std::size_t) {
             result.text(origin.sources.inputs()[run.input].name);
           }},
          {{"run", "INTEGER", "from 0, as in the tables of records"},
           [](Result result, const Origin&, const Run&, std::size_t number) { result.number(number); }},
          {{"log", "TEXT", "fw, kext or err; empty if not known"},
           [](Result result, const Origin&, const Run& run, std::size_t) { result.text(run.log); }},
          {{"start", "TEXT", "first, restarted or clock-back"},
           [](Result result, const Origin&, const Run& run, std::size_t) { result.text(startName(run.start)); }},
          {{"first_time", "INTEGER", "timestamp, as the next", false, true}, numberMember<&Run::firstTime>},
          {{"last_time", "INTEGER", "the greatest", false, true}, numberMember<&Run::lastTime>},
          {{"first_sequence", "INTEGER", "sequence number, as the next"}, numberMember<&Run::firstSequence>},
          {{"last_sequence", "INTEGER", "the last"}, numberMember<&Run::lastSequence>},
          {{"records", "INTEGER", "how many"}, numberMember<&Run::records>},
          {{"gaps", "INTEGER", "places where numbers were left out"}, numberMember<&Run::gaps>},
          {{"missing", "INTEGER", "numbers that were left out"}, numberMember<&Run::missing>},
      });
}

std::unique_ptr<const Table> makeDefects() {
  return std::make_unique<ReadingTable<Finding>>(
      "defects", "what is wrong with the inputs themselves",
      [](State& state, Origin& origin) {
        std::vector<const Finding*> defects;
        append(defects, origin.sources.findings());
        append(defects, notesOf(state, origin).defects);
        return defects;
      },
      std::vector<ReadingColumn<Finding>>{
          {{"source", "TEXT", "the input, as it was named"},
           [](Result result, const Origin& origin, const Finding& defect, std::size_t) {
             result.text(origin.sources.inputs()[defect.location.input].name);
           }},
          {{"kind", "TEXT", "contradiction, damaged, truncated …"},
           [](Result result, const Origin&, const Finding& defect, std::size_t) {
             result.text(sources::findingName(defect.kind));
           }},
          {{"count", "INTEGER", "of lines"}, numberMember<&Finding::count>},
          {{"report", "INTEGER", "report of the capture, from 0, or NULL"},
           [](Result result, const Origin&, const Finding& defect, std::size_t) {
             if (defect.location.report != Location::noReport) {
               result.number(defect.location.report);
             }
           }},
          {{"position", "INTEGER", "line in the report, from 0, or offset"},
           [](Result result, const Origin&, const Finding& defect, std::size_t) { result.number(defect.location.at); }},
          {{"text", "TEXT", "the same in words"},
           [](Result result, const Origin&, const Finding& defect, std::size_t) { result.text(defect.text); }},
      });
}

} // namespace

std::vector<std::unique_ptr<const Table>> makeReadingTables() {
  std::vector<std::unique_ptr<const Table>> tables;
  tables.push_back(makeRuns());
  tables.push_back(makeDefects());
  return tables;
}

} // namespace vel::query
