// Lists and reads the records of a capture folder in their order.
#include "velstat/diff/capture_folder.h"

#include <sources/capture_folder.h>
#include <velstat/text/error.h>
#include <velstat/text/value_file.h>

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <system_error>
#include <utility>

namespace vel::stat {

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> recordFiles(const fs::path& folder) {
  std::vector<fs::path> files;
  bool isCapture = false;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    // A capture in which no handler answered only has its log.
    isCapture = isCapture || entry->path().filename() == "log.jsonl";
    if (entry->path().extension() == ".state") {
      files.push_back(entry->path());
    }
  }
  if (error) {
    throw Error(fmt::format("{}: {}", folder.string(), error.message()));
  }
  if (!isCapture && files.empty()) {
    throw Error(fmt::format("{}: no capture: it holds neither .state files nor log.jsonl", folder.string()));
  }
  sources::sortRecordFiles(files);
  return files;
}

} // namespace

CaptureFolder readCaptureFolder(const fs::path& folder) {
  CaptureFolder capture;
  std::map<std::string, std::size_t> occurrences;
  for (const fs::path& path : recordFiles(folder)) {
    try {
      const ValueFile file = readRegularValueFile(path);
      const std::string title = file.record ? file.record->title : path.filename().string();
      capture.records.push_back({title, ++occurrences[title], path, file.record.has_value()});
    } catch (const formats::Error& error) {
      capture.troubles.emplace_back(error.what());
    }
  }
  return capture;
}

} // namespace vel::stat
