// The rows of a statement as a table, as JSON lines or as CSV, and as a database of their own.
#pragma once

#include <query/database.h>
#include <velstat/text/output.h>
#include <velstat/text/sink.h>

#include <filesystem>
#include <string>
#include <vector>

namespace vel::stat {

enum class QueryFormat { table, json, csv };

// All rows, written as they come; a table in blocks of `tableRows` with a header each.
constexpr std::size_t tableRows = 1000;
void writeRows(Sink& out, query::Statement& rows, QueryFormat format);

// What --schema shows: each table with its columns, a line each.
void writeSchema(Sink& out, const Style& style);

// Copies all tables into a new database, which takes the place of `file` when it is whole. Throws Error.
void exportTables(query::Database& database, const std::filesystem::path& file);

} // namespace vel::stat
