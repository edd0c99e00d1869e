// The result of one capture, and its three forms of output: text for people, JSON, and a folder of files.
#pragma once

#include <control/tally.h>
#include <host/machine.h>
#include <host/session.h>
#include <rules/triage.h>
#include <sources/capture.h>
#include <velstat/capture/captured_log.h>
#include <velstat/capture/output_folder.h>
#include <velstat/text/json_writer.h>
#include <velstat/text/output.h>
#include <velstat/text/sink.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vel::stat {

struct CapturedService {
  std::string name;
  std::vector<host::UsageModel> usages;
  host::Registration registration;
  bool opened = false;      // whether the plug-in holds one of its interfaces
  std::size_t logLines = 0; // written while it was registered
};

struct CaptureResult {
  std::string device;
  std::string model;   // where it was read from
  std::string plugIn;  // identifier of the bundle
  std::string path;    // of the bundle
  std::string version; // of the command
  std::string folder;  // that it is written to; empty if none
  std::uint32_t api = 0;
  std::vector<CapturedService> services;
  std::size_t handlers = 0;
  std::vector<host::CapturedRecord> records;
  std::vector<host::HandlerRun> runs; // of every handler, in order
  CapturedLog log;
  std::vector<control::TallyRow> metrics; // what was published, as the store holds it
  std::string tally;                      // the store's file
  std::vector<rules::Finding> findings;   // what is wrong, worst first
};

// The service that a handler belongs to; empty if it is not known.
const std::string& serviceOf(const CaptureResult& result, std::size_t handler);

// The capture as a source of records. Equal log lines, of which a device may cause a million, are merged.
sources::Capture asSource(const CaptureResult& result);

// Folded: similar records share an entry, and long lists are cut, with a note of how much is left out.
enum class Detail { folded, all };

void captureText(Sink& out, const CaptureResult& result, Detail detail, const Style& style);
void captureJson(Sink& out, const CaptureResult& result);
// Writes the services, which are the same in the JSON and in the manifest.
void writeServices(JsonWriter& json, const CaptureResult& result);

// Whether each record's property list is also written into its own file, for programs that cannot read records.
enum class PropertyLists { written, leftOut };

// NNN-<title>.state (the record), NNN-<title>.plist (its property list), log.jsonl, tally.sqlite and manifest.json.
// [borrowed: from `result`]
std::vector<OutputFile> captureFiles(const CaptureResult& result, PropertyLists lists);

} // namespace vel::stat
