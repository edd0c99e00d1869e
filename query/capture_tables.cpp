// The small part of the inputs as tables: each row of a table is an item of a capture.
#include <query/state.h>

#include <fmt/format.h>

#include <utility>

namespace vel::query {

namespace {

using sources::InputInfo;

template <class Item>
struct CaptureColumn {
  ColumnInfo info;
  void (*write)(Result, const InputInfo&, const Item&);
};

// The items that an input has. [borrowed: from the input]
template <class Item>
using ItemsOf = const std::vector<Item>& (*)(const InputInfo&);

template <class Item>
class CaptureTable final : public Table {
public:
  CaptureTable(const char* name, const char* about, ItemsOf<Item> items, std::vector<CaptureColumn<Item>> columns)
      : Table(infoOf(name, about, columns)), items_(items), columns_(std::move(columns)) {}

  void plan(sqlite3_index_info& index) const override {
    constexpr double few = 100;
    index.estimatedRows = static_cast<sqlite3_int64>(few);
    index.estimatedCost = few;
  }

  std::unique_ptr<Cursor> open(State&, Origin& origin) const override { return std::make_unique<Items>(origin, *this); }

private:
  class Items final : public Cursor {
  public:
    Items(const Origin& origin, const CaptureTable& table) : inputs_(origin.sources.inputs()), table_(table) {}

    void begin(int, std::string_view, std::span<sqlite3_value*>) override {
      input_ = item_ = 0;
      rowid_ = 1;
      skipEmpty();
    }
    void next() override {
      ++item_;
      ++rowid_;
      skipEmpty();
    }
    bool atEnd() const override { return input_ == inputs_.size(); }
    void column(Result result, std::size_t column) override {
      table_.columns_[column].write(result, inputs_[input_], table_.items_(inputs_[input_])[item_]);
    }
    std::int64_t rowid() const override { return rowid_; }

  private:
    void skipEmpty() {
      while (input_ != inputs_.size() && item_ == table_.items_(inputs_[input_]).size()) {
        ++input_;
        item_ = 0;
      }
    }

    const std::vector<InputInfo>& inputs_;
    const CaptureTable& table_;
    std::size_t input_ = 0;
    std::size_t item_ = 0;
    std::int64_t rowid_ = 1;
  };

  static TableInfo infoOf(const char* name, const char* about, const std::vector<CaptureColumn<Item>>& columns) {
    TableInfo info{name, about, {}};
    for (const CaptureColumn<Item>& column : columns) {
      info.columns.push_back(column.info);
    }
    return info;
  }

  ItemsOf<Item> items_;
  std::vector<CaptureColumn<Item>> columns_;
};

template <class Item>
CaptureColumn<Item> sourceColumn() {
  return {{"source", "TEXT", "the input, as it was named"},
          [](Result result, const InputInfo& input, const Item&) { result.text(input.name); }};
}

template <auto Member, class Item>
void textMember(Result result, const InputInfo&, const Item& item) {
  result.text(item.*Member);
}
template <auto Member, class Item>
void numberMember(Result result, const InputInfo&, const Item& item) {
  result.number(item.*Member);
}
// A number from 1; 0 means that there is none.
template <auto Member, class Item>
void numberUnlessZero(Result result, const InputInfo&, const Item& item) {
  if (item.*Member != 0) {
    result.number(item.*Member);
  }
}

std::unique_ptr<const Table> makeServices() {
  using sources::Service;
  return std::make_unique<CaptureTable<Service>>(
      "services", "the services of a capture's device",
      [](const InputInfo& input) -> const std::vector<Service>& { return input.capture.services; },
      std::vector<CaptureColumn<Service>>{
          sourceColumn<Service>(),
          {{"name", "TEXT", "the service's name"}, textMember<&Service::name>},
          {{"usages", "TEXT", "pages and usages, such as 0x0c/0x01"},
           [](Result result, const InputInfo&, const Service& service) {
             std::string text;
             for (const auto& [page, usage] : service.usages) {
               text += fmt::format("{}{:#04x}/{:#04x}", text.empty() ? "" : " ", page, usage);
             }
             result.text(text);
           }},
          {{"opened", "INTEGER", "1 if the plug-in opened it"}, numberMember<&Service::opened>},
          {{"first_handler", "INTEGER", "its first state handler, from 1, or NULL"},
           numberUnlessZero<&Service::firstHandler>},
          {{"handlers", "INTEGER", "how many it has"}, numberMember<&Service::handlers>},
          {{"log_lines", "INTEGER", "written while it was registered"}, numberMember<&Service::logLines>},
      });
}

std::unique_ptr<const Table> makeHandlers() {
  using sources::Handler;
  return std::make_unique<CaptureTable<Handler>>(
      "handlers", "the state handlers of a capture, and what they returned",
      [](const InputInfo& input) -> const std::vector<Handler>& { return input.capture.handlers; },
      std::vector<CaptureColumn<Handler>>{
          sourceColumn<Handler>(),
          {{"number", "INTEGER", "from 1"}, numberMember<&Handler::number>},
          {{"service", "TEXT", "that brought it; empty if not known"}, textMember<&Handler::service>},
          {{"answered", "INTEGER", "1 if it returned a record"}, numberMember<&Handler::answered>},
          {{"result", "INTEGER", "code in its log lines if not answered"},
           [](Result result, const InputInfo&, const Handler& handler) {
             if (handler.result) {
               result.number(*handler.result);
             }
           }},
          {{"result_text", "TEXT", "the same in words, or why there is none"}, textMember<&Handler::resultText>},
      });
}

std::unique_ptr<const Table> makeLog() {
  using sources::LogEntry;
  return std::make_unique<CaptureTable<LogEntry>>(
      "log", "the log lines of a capture",
      [](const InputInfo& input) -> const std::vector<LogEntry>& { return input.capture.log; },
      std::vector<CaptureColumn<LogEntry>>{
          sourceColumn<LogEntry>(),
          {{"time", "TEXT", "UTC: 2026-11-21T21:01:35.861772Z"}, textMember<&LogEntry::time>},
          {{"level", "TEXT", "such as error"}, textMember<&LogEntry::level>},
          {{"subsystem", "TEXT", "who logged it"}, textMember<&LogEntry::subsystem>},
          {{"category", "TEXT", "likewise"}, textMember<&LogEntry::category>},
          {{"message", "TEXT", "what was logged"}, textMember<&LogEntry::message>},
          {{"count", "INTEGER", "how many such lines: 1 when read from files"}, numberMember<&LogEntry::count>},
      });
}

using sources::Metric;

// Values that only scalars or only distributions have; others are NULL.
template <auto Member>
void scalarNumber(Result result, const InputInfo&, const Metric& metric) {
  if (metric.kind == control::TallyKind::scalar) {
    result.integer(static_cast<std::int64_t>(metric.scalar.*Member));
  }
}
template <auto Member>
void distributionNumber(Result result, const InputInfo&, const Metric& metric) {
  if (metric.kind == control::TallyKind::distribution) {
    result.number(metric.distribution.*Member);
  }
}
template <auto Member>
void statistic(Result result, const InputInfo&, const Metric& metric) {
  if (metric.kind == control::TallyKind::distribution && metric.distribution.count != 0) {
    result.real(metric.distribution.*Member);
  }
}
template <auto Member>
void timeMember(Result result, const InputInfo&, const Metric& metric) {
  if (metric.*Member) {
    result.integer(*(metric.*Member));
  }
}

std::unique_ptr<const Table> makeMetrics() {
  using control::TallyDistribution;
  using control::TallyScalar;
  return std::make_unique<CaptureTable<Metric>>(
      "metrics", "the analytics store of a capture",
      [](const InputInfo& input) -> const std::vector<Metric>& { return input.capture.metrics; },
      std::vector<CaptureColumn<Metric>>{
          sourceColumn<Metric>(),
          {{"key", "TEXT", "the metric's key"}, textMember<&Metric::key>},
          {{"kind", "TEXT", "scalar or distribution"},
           [](Result result, const InputInfo&, const Metric& metric) {
             result.text(metric.kind == control::TallyKind::scalar ? "scalar" : "distribution");
           }},
          {{"value", "INTEGER", "of a scalar"}, scalarNumber<&TallyScalar::value>},
          {{"overflows", "INTEGER", "additions beyond the range, of a scalar"}, scalarNumber<&TallyScalar::overflows>},
          {{"count", "INTEGER", "samples of a distribution"}, distributionNumber<&TallyDistribution::count>},
          {{"sum", "REAL", "of the samples"}, statistic<&TallyDistribution::sum>},
          {{"min", "REAL", "the smallest sample"}, statistic<&TallyDistribution::min>},
          {{"max", "REAL", "the greatest sample"}, statistic<&TallyDistribution::max>},
          {{"mean", "REAL", "of the samples"}, statistic<&TallyDistribution::mean>},
          {{"standard_deviation", "REAL", "of the samples"}, statistic<&TallyDistribution::standardDeviation>},
          {{"p50", "REAL", "the median"}, statistic<&TallyDistribution::p50>},
          {{"p90", "REAL", "the 90th percentile"}, statistic<&TallyDistribution::p90>},
          {{"p99", "REAL", "the 99th percentile"}, statistic<&TallyDistribution::p99>},
          {{"ignored", "INTEGER", "samples that are not numbers or too large"},
           distributionNumber<&TallyDistribution::ignored>},
          {{"first_sample", "INTEGER", "microseconds since 1970, as the next two"}, timeMember<&Metric::firstSample>},
          {{"last_change", "INTEGER", "when a sample came last"}, timeMember<&Metric::lastChange>},
          {{"last_clear", "INTEGER", "when it was cleared last"}, timeMember<&Metric::lastClear>},
      });
}

std::unique_ptr<const Table> makeClocks() {
  using sources::ClockRelation;
  return std::make_unique<CaptureTable<ClockRelation>>(
      "clocks", "how lines relate the co-processor's clock to the calendar",
      [](const InputInfo& input) -> const std::vector<ClockRelation>& { return input.capture.clocks; },
      std::vector<CaptureColumn<ClockRelation>>{
          sourceColumn<ClockRelation>(),
          {{"offset", "INTEGER", "calendar - timestamp, in microseconds"},
           [](Result result, const InputInfo&, const ClockRelation& clock) { result.integer(clock.offset); }},
          {{"boot", "INTEGER", "of the boot, microseconds since 1970"},
           [](Result result, const InputInfo&, const ClockRelation& clock) {
             if (clock.boot) {
               result.number(*clock.boot);
             }
           }},
          {{"lines", "INTEGER", "that have this relation"}, numberMember<&ClockRelation::lines>},
      });
}

} // namespace

std::vector<std::unique_ptr<const Table>> makeCaptureTables() {
  std::vector<std::unique_ptr<const Table>> tables;
  tables.push_back(makeStateTable());
  tables.push_back(makeHandlers());
  tables.push_back(makeServices());
  tables.push_back(makeLog());
  tables.push_back(makeMetrics());
  tables.push_back(makeClocks());
  return tables;
}

} // namespace vel::query
