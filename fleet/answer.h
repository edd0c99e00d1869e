// Reads an answer in ClickHouse's TabSeparatedWithNamesAndTypes as it arrives. Servers are untrusted: lines, columns
// and escapes are checked and limited.
#pragma once

#include <fleet/error.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vel::fleet {

constexpr const char* answerFormat = "TabSeparatedWithNamesAndTypes";

// How the values of a column are to be read.
enum class ValueKind : std::uint8_t {
  text,
  integer, // decimal digits, maybe with a sign; those of UInt64 may exceed 2^63 - 1
  real,
  bytes, // FixedString
};

struct AnswerColumn {
  std::string name;
  std::string type; // ClickHouse's
  ValueKind kind = ValueKind::text;
};

struct AnswerCell {
  bool isNull = false;
  std::string_view bytes; // unescaped [borrowed: until the call returns]
};

class AnswerReader {
public:
  using OnColumns = std::function<void(std::span<const AnswerColumn> columns)>;
  using OnRow = std::function<void(std::span<const AnswerCell> cells)>; // one cell for each column
  AnswerReader(OnColumns onColumns, OnRow onRow) : onColumns_(std::move(onColumns)), onRow_(std::move(onRow)) {}

  // Reads the next piece of the answer. Throws Error if it is not in the format.
  void take(std::string_view piece);
  // To be called after the last piece. Throws Error if the answer is incomplete.
  void end();

private:
  void line(std::string_view text);
  void row(std::string_view text);

  const OnColumns onColumns_;
  const OnRow onRow_;
  std::string rest_; // the part of a line that has arrived so far
  std::vector<AnswerColumn> columns_;
  std::vector<AnswerCell> cells_;
  std::string unescaped_;
  std::size_t lines_ = 0;
};

// "Nullable(Int64)" is an integer.
ValueKind kindOfType(std::string_view type);

} // namespace vel::fleet
