// Writes the rows of a statement in the formats of row_writer.h, the schema, and all tables as a database.
#pragma once

#include <query/database.h>
#include <velstat/query/row_writer.h>
#include <velstat/text/output.h>
#include <velstat/text/sink.h>

#include <filesystem>
#include <string>
#include <vector>

namespace vel::stat {

// All rows, written as they come.
void writeRows(Sink& out, query::Statement& rows, QueryFormat format);

// What --schema shows: each table with its columns, a line each.
void writeSchema(Sink& out, const Style& style);

// Copies all tables into a new database, which takes the place of `file` when it is whole. Throws Error.
void exportTables(query::Database& database, const std::filesystem::path& file);

} // namespace vel::stat
