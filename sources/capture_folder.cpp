#include "sources/capture_folder.h"

#include <formats/error.h>
#include <formats/files.h>
#include <formats/property_list.h>
#include <formats/state_record.h>
#include <sources/capture_notes.h>
#include <sources/report_lines.h>

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>
#include <span>
#include <system_error>
#include <utility>

namespace vel::sources {

namespace {

namespace fs = std::filesystem;

// A capture of the plug-in takes about 3 MB. The limit keeps the two captures of a comparison and a file that is being
// read within 256 MiB.
constexpr std::size_t mostMemory = std::size_t{64} << 20;

std::pair<std::uint64_t, std::string> orderOf(const fs::path& path) {
  const std::string name = path.filename().string();
  std::uint64_t number = std::numeric_limits<std::uint64_t>::max();
  std::from_chars(name.data(), name.data() + name.size(), number);
  return {number, name};
}

struct FolderContent {
  std::vector<fs::path> records;
  bool hasManifest = false;
  bool hasLog = false;
  bool hasMetrics = false;
};

FolderContent look(const fs::path& folder) {
  FolderContent content;
  std::error_code error;
  bool any = false;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    const fs::path name = entry->path().filename();
    any = true;
    content.hasManifest = content.hasManifest || name == manifestName;
    content.hasLog = content.hasLog || name == logName;
    content.hasMetrics = content.hasMetrics || name == metricsName;
    if (name.extension() == ".state") {
      content.records.push_back(entry->path());
    }
  }
  if (error) {
    throw formats::Error(fmt::format("{}: {}", folder.string(), error.message()));
  }
  if (!any) {
    throw formats::Error(fmt::format("{}: an empty folder", folder.string()));
  }
  // A capture in which no handler answered has no records.
  if (content.records.empty() && !(content.hasLog && content.hasManifest)) {
    throw formats::Error(fmt::format("{}: not a capture: the folder holds neither .state files nor {} and {}",
                                     folder.string(), manifestName, logName));
  }
  sortRecordFiles(content.records);
  return content;
}

std::string contentOf(const fs::path& path) {
  return formats::readRegularFile(path, smallFileLimit);
}

// Unreadable files are reported; the rest of the capture is still read.
template <class Read>
void attempt(Complaints& complaints, Read read) {
  try {
    read();
  } catch (const formats::Error& error) {
    complaints.say(error.what());
  }
}

} // namespace

void sortRecordFiles(std::vector<fs::path>& files) {
  std::sort(files.begin(), files.end(), [](const auto& a, const auto& b) { return orderOf(a) < orderOf(b); });
}

Report readReport(Kind kind, std::string_view content, const std::string& name, bool anyList) {
  Report report;
  report.file = name;
  report.size = content.size();
  try {
    if (kind == Kind::stateRecord) {
      formats::StateRecord record = formats::parseStateRecord(std::as_bytes(std::span(content)));
      report.hasHeader = true;
      report.title = std::move(record.title);
      report.decoderLibrary = std::move(record.decoderLibrary);
      report.decoderType = std::move(record.decoderType);
      report.value = std::move(record.value);
      return report;
    }
    report.value = content.starts_with("bplist") ? formats::readPropertyList(std::as_bytes(std::span(content)))
                                                 : formats::readPropertyListXML(content);
  } catch (const formats::StateRecordError& error) {
    throw formats::Error(fmt::format("{}: {}", name, error.what()));
  } catch (const formats::PropertyListError& error) {
    throw formats::Error(fmt::format("{}: {}", name, error.what()));
  }
  if (!anyList && !isReport(report.value)) {
    throw formats::Error(fmt::format(
        "{}: a property list that holds neither lines of profile records nor a report of the plug-in", name));
  }
  return report;
}

Capture readCaptureFolder(const fs::path& folder, Complaints& complaints) {
  const FolderContent content = look(folder);
  Capture capture;
  RecordNotes notes;
  if (content.hasManifest) {
    attempt(complaints,
            [&] { notes = readManifest(contentOf(folder / manifestName), (folder / manifestName).string(), capture); });
  }
  std::size_t memory = 0;
  for (const fs::path& path : content.records) {
    attempt(complaints, [&] {
      Report report = readReport(Kind::stateRecord, contentOf(path), path.string());
      memory += report.value.memory();
      if (memory > mostMemory) {
        return;
      }
      const auto note = notes.find(path.filename().string());
      report.handler = note == notes.end() ? 0 : note->second;
      capture.reports.push_back(std::move(report));
    });
    if (memory > mostMemory) {
      complaints.say(fmt::format("{}: the records before and in this one take more than {} bytes of memory; it and "
                                 "those after it are left out",
                                 path.string(), mostMemory));
      break;
    }
  }
  if (content.hasLog) {
    attempt(complaints, [&] { capture.log = readLog(contentOf(folder / logName), (folder / logName).string()); });
  }
  if (content.hasMetrics) {
    attempt(complaints, [&] { capture.metrics = readMetrics(folder / metricsName); });
  }
  return capture;
}

} // namespace vel::sources
