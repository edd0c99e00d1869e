// Reads the parts of a capture folder that are not records: the manifest, the log, the metrics.
#pragma once

#include <sources/capture.h>

#include <cstddef>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace vel::sources {

inline constexpr const char* manifestName = "manifest.json";
inline constexpr const char* logName = "log.jsonl";
inline constexpr const char* metricsName = "tally.sqlite";

// For each record's file, the number of the handler that returned the record.
using RecordNotes = std::map<std::string, std::size_t>;

// All throw formats::Error with the name and the cause. Unknown keys are ignored: later versions may add some.
RecordNotes readManifest(const std::string& content, const std::string& name, Capture& capture);
std::vector<LogEntry> readLog(const std::string& content, const std::string& name);
std::vector<Metric> readMetrics(const std::filesystem::path& path);

} // namespace vel::sources
