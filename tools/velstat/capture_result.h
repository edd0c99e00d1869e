// What one capture has brought, and its three ways out: text for people, JSON, a folder of files.
#pragma once

#include <host/machine.h>
#include <host/session.h>
#include <json_writer.h>
#include <output.h>

#include <control/log.h>

#include <cstdint>
#include <filesystem>
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
  std::string plugIn; // identifier of the bundle
  std::string path;   // of the bundle
  std::uint32_t api = 0;
  std::vector<CapturedService> services;
  std::size_t handlers = 0;
  std::vector<host::CapturedRecord> records;
  std::vector<control::LogLine> log;
};

std::string captureText(const CaptureResult& result, const Style& style);
std::string captureJson(const CaptureResult& result);
void writeLogLine(JsonWriter& json, const control::LogLine& line);
// Writes NNN-<title>.state (the record), NNN-<title>.plist (its property list) and log.jsonl. The folder appears whole
// or not at all; one that exists must be empty. Throws host::Error.
void writeCapture(const CaptureResult& result, const std::filesystem::path& folder);

} // namespace vel::stat
