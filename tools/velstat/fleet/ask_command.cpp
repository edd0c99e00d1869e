// velstat fleet ask: runs a question, or lists and describes those that are built in.

#include <fleet/ask.h>
#include <fleet/question.h>
#include <fleet/schema.h>
#include <formats/files.h>
#include <formats/parse_number.h>
#include <velstat/fleet/server_options.h>
#include <velstat/fleet/subcommands.h>
#include <velstat/options/number_option.h>
#include <velstat/options/output_options.h>
#include <velstat/query/row_writer.h>
#include <velstat/text/escape.h>
#include <velstat/text/output.h>
#include <velstat/text/wrap.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace vel::stat {

namespace {

struct AskLine {
  ServerOptions server;
  std::string file;
  std::string format = "table";
  unsigned timeout = 300;
  bool list = false;
  bool describe = false;
  const CLI::App* command = nullptr;
};

constexpr std::size_t longestSql = std::size_t{1} << 20;

void writeList() {
  StandardOutput plain;
  const Style style = Style::ofStandardOutput();
  WrappedLines out(plain, style.width());
  std::size_t width = 0;
  for (const fleet::Question& question : fleet::shippedQuestions()) {
    width = std::max(width, columns(question.name));
  }
  for (const fleet::Question& question : fleet::shippedQuestions()) {
    out += style.bold(question.name);
    out.blanks(width - columns(question.name) + 2);
    out += question.title + '\n';
  }
  plain.flush();
}

void writeDescription(const fleet::Question& question) {
  StandardOutput plain;
  const Style style = Style::ofStandardOutput();
  WrappedLines out(plain, style.width());
  out += style.bold(escape(question.name)) + ": " + escape(question.title) + "\n";
  out += escape(question.explanation) + '\n';
  for (const fleet::Parameter& parameter : question.parameters) {
    out += fmt::format("  --{} {}{}: {}\n", parameter.name, fleet::parameterTypeName(parameter.type),
                       parameter.usual ? fmt::format(" (default: {})", escape(*parameter.usual)) : "",
                       escape(parameter.about));
  }
  out += fmt::format("columns: {}\n", escape(fmt::format("{}", fmt::join(question.columns, ", "))));
  plain.flush();
}

// The words that are not options of the command: the question's name, if there is no file, and its parameters as
// "--name value" or "--name=value".
struct Asked {
  std::string name;
  fleet::Values values;
};

Asked askedIn(const std::vector<std::string>& words) {
  Asked asked;
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::string& word = words[i];
    if (!word.starts_with("--") && asked.name.empty()) {
      asked.name = word;
      continue;
    }
    if (!word.starts_with("--") || word.size() == 2) {
      throw CLI::ValidationError("ask", fmt::format("'{}' is not a parameter: those are --name value", word));
    }
    const std::size_t equals = word.find('=');
    const std::string name = word.substr(2, equals == std::string::npos ? equals : equals - 2);
    if (equals == std::string::npos && i + 1 == words.size()) {
      throw CLI::ValidationError("ask", fmt::format("--{} has no value", name));
    }
    const std::string value = equals == std::string::npos ? words[++i] : word.substr(equals + 1);
    if (!asked.values.emplace(name, value).second) {
      throw CLI::ValidationError("ask", fmt::format("--{} is there twice", name));
    }
  }
  return asked;
}

// Refuses parameters with the names of the command's options, which the option parser would take.
void requireOwnNames(const AskLine& line, const fleet::Question& question) {
  for (const fleet::Parameter& parameter : question.parameters) {
    if (line.command->get_option_no_throw("--" + parameter.name) != nullptr) {
      throw fleet::Error(fmt::format("{}: line {}: --{} is an option of the command: the parameter needs another name",
                                     question.file, parameter.line, parameter.name));
    }
  }
}

Cell cellOf(const fleet::AnswerCell& given, fleet::ValueKind kind) {
  using query::ValueType;
  if (given.isNull) {
    return {};
  }
  Cell cell{.type = ValueType::text, .bytes = given.bytes};
  const char* const end = given.bytes.data() + given.bytes.size();
  if (kind == fleet::ValueKind::integer) { // a number that is too large remains text, as in velstat query
    if (const auto read = std::from_chars(given.bytes.data(), end, cell.integer);
        read.ec == std::errc() && read.ptr == end) {
      cell.type = ValueType::integer;
    }
  } else if (kind == fleet::ValueKind::real) { // nan and inf become real numbers too
    if (const auto read = std::from_chars(given.bytes.data(), end, cell.real);
        read.ec == std::errc() && read.ptr == end) {
      cell.type = ValueType::real;
    }
  } else if (kind == fleet::ValueKind::bytes) {
    cell.type = ValueType::blob;
  }
  return cell;
}

void writeAnswer(const AskLine& line, const std::string& sql) {
  fleet::ServerAddress address = line.server.address();
  {
    fleet::ServerAddress soon = address; // a working server answers this at once
    soon.silence = std::chrono::seconds(15);
    fleet::Http http(std::move(soon));
    fleet::requireSchema(http);
  }
  constexpr std::chrono::seconds reserve{30}; // so that the server's own limit comes first, with its message
  address.silence = line.timeout == 0 ? std::chrono::hours(24) : std::chrono::seconds(line.timeout) + reserve;
  fleet::Http http(std::move(address));
  StandardOutput out;
  std::unique_ptr<RowWriter> writer;
  std::vector<fleet::ValueKind> kinds;
  std::vector<Cell> row;
  fleet::AnswerReader reader(
      [&](std::span<const fleet::AnswerColumn> columns) {
        std::vector<std::string> names;
        for (const fleet::AnswerColumn& column : columns) {
          names.push_back(column.name);
          kinds.push_back(column.kind);
        }
        writer = makeRowWriter(out, queryFormat(line.format), names);
        row.resize(columns.size());
      },
      [&](std::span<const fleet::AnswerCell> cells) {
        for (std::size_t i = 0; i < cells.size(); ++i) {
          row[i] = cellOf(cells[i], kinds[i]);
        }
        writer->row(row);
      });
  fleet::askFleet(http, sql, std::chrono::seconds(line.timeout), reader);
  writer->end();
  out.flush();
}

void run(const AskLine& line) {
  if (line.list) {
    writeList();
    return;
  }
  const Asked asked = askedIn(line.command->remaining());
  if (asked.name.empty() == line.file.empty()) {
    throw CLI::ValidationError("ask", "one question is required: its name (--list shows all) or --sql FILE");
  }
  const fleet::Question own =
      line.file.empty() ? fleet::Question()
                        : fleet::readOwnSql(formats::readFile(line.file, longestSql), formats::inputName(line.file));
  const fleet::Question& question = line.file.empty() ? fleet::shippedQuestion(asked.name) : own;
  requireOwnNames(line, question);
  if (line.describe) {
    writeDescription(question);
    return;
  }
  writeAnswer(line, fleet::bound(question, asked.values));
}

} // namespace

void addFleetAsk(CLI::App& fleet, int& status) {
  auto line = std::make_shared<AskLine>();
  CLI::App* const command =
      fleet.add_subcommand("ask", "Answer a question about the fleet: ask NAME [--parameter VALUE]…");
  line->command = command;
  command->add_flag("--list", line->list, "Show the questions, a line each");
  command->add_flag("--describe", line->describe, "Show what the question means and takes, and ask nothing");
  command->add_option("--sql", line->file, "Ask the SQL in this file")->type_name("FILE");
  command->add_option("--format", line->format, "table; json: an object a line; csv")
      ->check(CLI::IsMember({"table", "json", "csv"}))
      ->capture_default_str();
  command->add_option("--timeout", line->timeout, "Stop after so many seconds; 0: never")
      ->type_name("N")
      ->transform(decimal(0U, longestTimeout))
      ->capture_default_str();
  addServerOptions(*command, line->server);
  addOutputOptions(*command);
  command->allow_extras(); // the question's name and parameters
  command->footer("The name of a question and its parameters, such as --least 10, may be anywhere.\n"
                  "Examples:\n"
                  "  velstat fleet ask --list\n"
                  "  velstat fleet ask population --least 10 --format csv\n"
                  "  velstat fleet ask --sql my.sql");
  command->callback([line, &status] {
    run(*line);
    status = 0;
  });
}

} // namespace vel::stat
