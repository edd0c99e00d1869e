// Rows in the three formats.
#include "velstat/query/row_writer.h"

#include <velstat/query/fitted_table.h>
#include <velstat/text/escape.h>
#include <velstat/text/json_writer.h>
#include <velstat/text/number_text.h>
#include <velstat/text/table.h>

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace vel::stat {

namespace {

using query::ValueType;

std::string hexOf(std::string_view bytes) {
  std::string text;
  for (const char byte : bytes) {
    text += fmt::format("{:02x}", static_cast<unsigned char>(byte));
  }
  return text;
}

// A value as plain text; empty for NULL.
std::string textOf(const Cell& cell) {
  switch (cell.type) {
  case ValueType::null:
    return {};
  case ValueType::integer:
    return fmt::format("{}", cell.integer);
  case ValueType::real:
    return realText(cell.real);
  case ValueType::text:
    return std::string(cell.bytes);
  case ValueType::blob:
    return hexOf(cell.bytes);
  }
  return {};
}

// The names, each made different from those before it: the second "id" becomes "id:2".
std::vector<std::string> differentNames(const std::vector<std::string>& given) {
  std::vector<std::string> names;
  for (const std::string& name : given) {
    std::string different = name;
    for (int number = 2; std::find(names.begin(), names.end(), different) != names.end(); ++number) {
      different = fmt::format("{}:{}", name, number);
    }
    names.push_back(std::move(different));
  }
  return names;
}

class TableWriter final : public RowWriter {
public:
  TableWriter(Sink& out, const std::vector<std::string>& names) : out_(out), style_(Style::ofStandardOutput()) {
    for (const std::string& name : names) {
      header_.push_back(escape(name));
    }
    begin();
  }

  void row(std::span<const Cell> cells) override {
    if (table_.cells.size() > tableRows) {
      write();
      begin();
    }
    auto& line = table_.cells.emplace_back();
    for (std::size_t i = 0; i < cells.size(); ++i) {
      line.push_back(escape(textOf(cells[i])));
      canBeCut_[i] |= cells[i].type == ValueType::text || cells[i].type == ValueType::blob ? 1 : 0;
    }
  }

  void end() override { write(); }

private:
  void begin() {
    table_ = {{header_}, {}};
    canBeCut_.assign(header_.size(), 0);
  }

  void write() {
    if (style_.width() != 0) {
      table_ = fitted(std::move(table_.cells), canBeCut_, style_.width());
    }
    out_ += isFirst_ ? "" : "\n";
    isFirst_ = false;
    appendCells(out_, std::move(table_.cells), 0, style_);
    for (const std::string& note : table_.notes) {
      out_ += style_.dim(note) + '\n';
    }
  }

  Sink& out_;
  const Style style_;
  std::vector<std::string> header_;
  FittedTable table_;
  std::vector<char> canBeCut_;
  bool isFirst_ = true;
};

class JsonRowWriter final : public RowWriter {
public:
  JsonRowWriter(Sink& out, std::vector<std::string> names) : out_(out), names_(std::move(names)) {}

  void row(std::span<const Cell> cells) override {
    JsonWriter json(out_, JsonWriter::Form::oneLine);
    json.beginObject();
    for (std::size_t i = 0; i < cells.size(); ++i) {
      json.key(names_[i]);
      writeValue(json, cells[i]);
    }
    json.endObject();
    out_ += '\n';
  }

private:
  static void writeValue(JsonWriter& json, const Cell& cell) {
    switch (cell.type) {
    case ValueType::null:
      return json.json("null");
    case ValueType::integer:
      return json.integer(cell.integer);
    case ValueType::real:
      return json.real(cell.real);
    case ValueType::text:
      return json.string(cell.bytes);
    case ValueType::blob:
      return json.hex(std::as_bytes(std::span(cell.bytes)));
    }
  }

  Sink& out_;
  const std::vector<std::string> names_;
};

class CsvWriter final : public RowWriter {
public:
  CsvWriter(Sink& out, const std::vector<std::string>& names) : out_(out), escapes_(isTerminal()) {
    for (std::size_t i = 0; i < names.size(); ++i) {
      writeField(i, names[i]);
    }
    out_ += '\n';
  }

  void row(std::span<const Cell> cells) override {
    for (std::size_t i = 0; i < cells.size(); ++i) {
      writeField(i, textOf(cells[i]));
    }
    out_ += '\n';
  }

private:
  void writeField(std::size_t column, const std::string& text) {
    out_ += column == 0 ? "" : ",";
    const std::string shown = escapes_ ? escape(text) : text;
    if (shown.find_first_of(",\"\r\n") == std::string::npos) {
      out_ += shown;
      return;
    }
    out_ += '"';
    for (const char c : shown) {
      out_ += c;
      if (c == '"') {
        out_ += c;
      }
    }
    out_ += '"';
  }

  Sink& out_;
  const bool escapes_;
};

} // namespace

QueryFormat queryFormat(std::string_view name) {
  return name == "json" ? QueryFormat::json : name == "csv" ? QueryFormat::csv : QueryFormat::table;
}

std::unique_ptr<RowWriter> makeRowWriter(Sink& out, QueryFormat format, const std::vector<std::string>& names) {
  switch (format) {
  case QueryFormat::json:
    return std::make_unique<JsonRowWriter>(out, differentNames(names));
  case QueryFormat::csv:
    return std::make_unique<CsvWriter>(out, differentNames(names));
  case QueryFormat::table:
    break;
  }
  return std::make_unique<TableWriter>(out, differentNames(names));
}

} // namespace vel::stat
