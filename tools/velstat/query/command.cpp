// velstat query: the command line.

#include <formats/files.h>
#include <query/database.h>
#include <sources/input.h>
#include <velstat/commands.h>
#include <velstat/options/number_option.h>
#include <velstat/options/output_options.h>
#include <velstat/options/own_files.h>
#include <velstat/query/rows.h>
#include <velstat/text/error.h>
#include <velstat/text/output.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace vel::stat {

namespace {

struct QueryOptions {
  std::vector<std::string> arguments; // inputs, and the SQL if it is not in a file
  std::string file;
  std::string exported;
  std::string format = "table";
  unsigned timeout = 60;
  bool schema = false;
  bool all = false;
};

bool isInput(const std::string& argument) {
  std::error_code error; // ignored: a text that cannot be a path does not exist
  return argument == "-" || std::filesystem::exists(argument, error);
}

// Takes the SQL from the file, or off the end of the arguments; empty if the tables are exported instead.
std::string takeSql(QueryOptions& line) {
  if (!line.exported.empty()) {
    if (!line.file.empty()) {
      throw CLI::ValidationError("--export", "all tables are written: there is no SQL to take from --file");
    }
    return {};
  }
  if (!line.file.empty()) {
    constexpr std::size_t longest = 1 << 20;
    return formats::readFile(line.file, longest);
  }
  if (line.arguments.empty()) {
    throw CLI::ValidationError("query", "inputs and, as the last argument, the SQL are required");
  }
  if (isInput(line.arguments.back())) {
    throw CLI::ValidationError(
        "query", fmt::format("the SQL is missing: the last argument, '{}', is an input", line.arguments.back()));
  }
  std::string sql = std::move(line.arguments.back());
  line.arguments.pop_back();
  return sql;
}

void writeAnswer(query::Database& database, const QueryOptions& line, const std::string& sql) {
  if (!line.exported.empty()) {
    exportTables(database, line.exported);
    return;
  }
  query::Statement rows = database.prepare(sql);
  StandardOutput out;
  writeRows(out, rows, queryFormat(line.format));
  out.flush();
}

int runQuery(QueryOptions& line) {
  if (line.schema) {
    StandardOutput out;
    writeSchema(out, Style::ofStandardOutput());
    out.flush();
    return 0;
  }
  const std::string sql = takeSql(line);
  if (line.arguments.empty()) {
    throw CLI::ValidationError("query", "an input is required before the SQL");
  }
  const WrittenFile written[] = {{line.exported, "the exported database", "--export"}};
  requireOwnFiles(written, filesOf(line.arguments));
  sources::Sources sources(line.arguments, {.all = line.all,
                                            .jobs = std::clamp(std::thread::hardware_concurrency(), 1U, 64U),
                                            .watchedOutput = line.exported.empty() ? STDOUT_FILENO : -1,
                                            .complain = [](std::string_view text) { complain(text); }});
  const bool exports = !line.exported.empty();
  query::Database database(sources, {.time = std::chrono::seconds(exports ? 0 : line.timeout),
                                     .overdue = [](const std::string& late) { endNow(late, 1); }});
  try {
    writeAnswer(database, line, sql);
  } catch (const sources::OutputClosed&) {
    throw ReaderGone();
  }
  return sources.isSound() ? 0 : 1;
}

} // namespace

void addQuery(CLI::App& app, int& status) {
  auto line = std::make_shared<QueryOptions>();
  CLI::App* const command = app.add_subcommand("query", "Ask captures, logs and records in SQL");
  command->add_option("INPUT", line->arguments, "What velstat decode reads; the SQL comes last")->type_name("");
  command->add_option("--file", line->file, "Take the SQL from this file")->type_name("FILE");
  command->add_option("--format", line->format, "table; json: an object a line; csv")
      ->check(CLI::IsMember({"table", "json", "csv"}))
      ->capture_default_str();
  command->add_flag("--schema", line->schema, "Show the tables and columns, and read nothing");
  command->add_option("--export", line->exported, "Write all tables into an SQLite database instead")
      ->type_name("FILE");
  command->add_option("--timeout", line->timeout, "Stop after so many seconds; 0: never")
      ->type_name("N")
      ->transform(decimal(0U, longestTimeout))
      ->capture_default_str();
  command->add_flag("--all", line->all, "Every occurrence of a record, in input order");
  addOutputOptions(*command);
  command->footer("Examples:\n"
                  "  velstat query snapshot 'SELECT category, count(*) FROM records GROUP BY 1'\n"
                  "  velstat query snapshot \"SELECT report, path, value FROM state\n"
                  "    WHERE path LIKE '%click count'\"\n"
                  "  velstat query --schema");
  command->callback([line, &status] { status = runQuery(*line); });
}

} // namespace vel::stat
