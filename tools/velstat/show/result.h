// What `velstat show` has read and found, as text for people and as JSON, file by file.
#pragma once

#include <velstat/text/json_writer.h>
#include <velstat/text/output.h>
#include <velstat/text/value_file.h>
#include <velstat/text/value_path.h>

#include <string>

namespace vel::stat {

struct ShownFile {
  ValueFile file;
  std::vector<PathMatch> matches; // of its value, when it was searched
};

// `searched`: only the matches are shown; in text, a file without any is left out (empty).
std::string showText(const ShownFile& shown, bool searched, const Style& style);
// An object.
void showJson(JsonWriter& json, const ShownFile& shown, bool searched);

} // namespace vel::stat
