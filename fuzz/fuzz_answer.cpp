// Hostile answers of servers: each gives the same result whether it is read in pieces or as a whole, or is refused in
// one line. The first byte is the size of the pieces.
#include "require.h"
#include <fleet/answer.h>
#include <fleet/http.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace {

using vel::fuzz::require;
using namespace vel::fleet;

// Everything that was read, and the error line if there was one.
std::string read(std::string_view answer, std::size_t size) {
  std::string seen;
  std::size_t columnCount = 0;
  AnswerReader reader(
      [&](std::span<const AnswerColumn> columns) {
        columnCount = columns.size();
        for (const AnswerColumn& column : columns) {
          seen += column.name + '|' + column.type + '|' + std::to_string(static_cast<int>(column.kind)) + '\n';
        }
      },
      [&](std::span<const AnswerCell> cells) {
        require(cells.size() == columnCount, "a row with another number of cells than columns");
        for (const AnswerCell& cell : cells) {
          seen += cell.isNull ? "NULL" : "value ";
          seen += cell.bytes;
          seen += '\n';
        }
      });
  try {
    for (; !answer.empty(); answer.remove_prefix(std::min(size, answer.size()))) {
      reader.take(answer.substr(0, size));
    }
    reader.end();
  } catch (const Error& error) {
    const std::string_view line = error.what();
    require(line.find('\n') == std::string_view::npos && line.size() < 1000, "an error that is not a short line");
    seen += line;
  }
  return seen;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  const std::string_view answer(reinterpret_cast<const char*>(data) + 1, size - 1);
  require(read(answer, data[0] + std::size_t{1}) == read(answer, size), "pieces that are read another way");
  const std::string words = safeWords(answer, "secret");
  require(words.find("secret") == std::string::npos, "a secret in an error line");
  require(words.size() < 500 && words.find_first_of("\n\r\t\x1b") == std::string::npos,
          "words that are not a short line");
  require(errorCode(answer) >= 0, "a negative code");
  return 0;
}
