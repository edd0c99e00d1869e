// The views of records: which records show a layout, and each column as an SQL expression over the stored bytes. All of
// it is generated from the decoder's rows.
#pragma once

#include <string>
#include <vector>

namespace vel::fleet {

struct ViewColumn {
  std::string name;
  std::string expression;
};

struct RecordView {
  std::string name; // as in velstat query
  std::vector<ViewColumn> columns;
  std::string condition; // which records are in it; empty: all
};

// `records`, then one for each layout.
std::vector<RecordView> recordViews();

// A name table: the ids that have names, as rows.
struct NameView {
  std::string name;
  std::vector<std::string> columns;
  std::vector<std::string> rows; // "(7,'zorb')"
};
std::vector<NameView> nameViews();

} // namespace vel::fleet
