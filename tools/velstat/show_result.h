// What `velstat show` has read and found, as text for people and as JSON, file by file.
#pragma once

#include <json_writer.h>
#include <output.h>
#include <value_file.h>
#include <value_path.h>

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
