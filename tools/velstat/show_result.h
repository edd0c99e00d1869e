// What `velstat show` has read and found, as text for people and as JSON.
#pragma once

#include <output.h>
#include <value_file.h>
#include <value_path.h>

#include <span>
#include <string>

namespace vel::stat {

struct ShownFile {
  ValueFile file;
  std::vector<PathMatch> matches; // of its value, when it was searched
};

// `searched`: only the matches are shown; in text, files without any are left out.
std::string showText(std::span<const ShownFile> files, bool searched, const Style& style);
// An object for one file, an array of such for `many` that were named, even if only one could be read.
std::string showJson(std::span<const ShownFile> files, bool searched, bool many);

} // namespace vel::stat
