// What a capture's folder holds beside its records: the manifest, the log, the metrics.
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

// The handler that returned a record, by the record's file.
using RecordNotes = std::map<std::string, std::size_t>;

// All throw formats::Error with path and cause. Keys that are not known are left alone: later versions may add some.
RecordNotes readManifest(const std::filesystem::path& path, Capture& capture);
std::vector<LogEntry> readLog(const std::filesystem::path& path);
std::vector<Metric> readMetrics(const std::filesystem::path& path);

} // namespace vel::sources
