// A capture as files: one for each record, the log, the metrics and a manifest.
#include <velstat/capture/result.h>
#include <velstat/text/json_writer.h>

#include <fmt/format.h>

#include <cstring>
#include <string_view>

namespace vel::stat {

namespace {

constexpr const char* logFileName = "log.jsonl";
constexpr const char* tallyFileName = "tally.sqlite";

// A title as part of a file name: slashes, quotes, other characters that a shell may interpret, and everything that is
// not printable ASCII become "_".
std::string safeName(std::string_view title) {
  std::string name;
  for (const char c : title) {
    const bool plain = c >= ' ' && c < 0x7F && std::strchr("/\\\"'`$*?<>|&", c) == nullptr;
    name += plain ? c : '_';
  }
  return name;
}

} // namespace

const std::string& serviceOf(const CaptureResult& result, std::size_t handler) {
  static const std::string none;
  for (const CapturedService& service : result.services) {
    const host::Registration& registration = service.registration;
    if (handler >= registration.firstHandler && handler - registration.firstHandler < registration.handlers) {
      return service.name;
    }
  }
  return none;
}

namespace {

// All handlers, including those that returned nothing and therefore have no file.
void writeHandlers(JsonWriter& json, const CaptureResult& result) {
  json.beginArray();
  for (const host::HandlerRun& run : result.runs) {
    json.beginObject();
    json.member("handler", run.handler);
    json.member("service", serviceOf(result, run.handler));
    json.key("answered");
    json.boolean(run.answered);
    json.member("log lines", run.logLines);
    if (run.result) {
      json.member("result", fmt::format("{:#010x}", *run.result));
    }
    if (!run.answered) {
      json.member("result text", run.resultText);
    }
    json.endObject();
  }
  json.endArray();
}

// What is in the folder, and where it came from.
void writeManifest(Sink& out, const CaptureResult& result, const std::vector<std::string>& recordNames,
                   PropertyLists lists) {
  JsonWriter json(out);
  json.beginObject();
  json.members("version", result.version, "device", result.device, "model", result.model, "plug-in", result.plugIn);
  json.members("api", result.api, "handlers", result.handlers);
  json.key("services");
  writeServices(json, result);
  json.key("handler results");
  writeHandlers(json, result);
  json.key("records");
  json.beginArray();
  for (std::size_t i = 0; i < result.records.size(); ++i) {
    const host::CapturedRecord& captured = result.records[i];
    json.beginObject();
    json.member("title", captured.record.title);
    json.member("handler", captured.handler);
    json.member("file", recordNames[i] + ".state");
    json.member("size", captured.bytes.size());
    if (lists == PropertyLists::written) {
      json.member("property list", recordNames[i] + ".plist");
      json.member("property list size", captured.record.dataSize);
    }
    json.endObject();
  }
  json.endArray();
  json.key("log");
  json.beginObject();
  json.member("file", logFileName);
  json.member("lines", result.log.size());
  json.endObject();
  json.key("tally");
  json.beginObject();
  json.member("file", tallyFileName);
  json.member("metrics", result.metrics.size());
  json.endObject();
  json.endObject();
  out += '\n';
}

} // namespace

std::vector<OutputFile> captureFiles(const CaptureResult& result, PropertyLists lists) {
  std::vector<std::string> names;
  std::vector<OutputFile> files;
  for (const host::CapturedRecord& captured : result.records) {
    names.push_back(fmt::format("{:03}-{}", names.size() + 1, safeName(captured.record.title)));
    const std::string_view record(reinterpret_cast<const char*>(captured.bytes.data()), captured.bytes.size());
    files.push_back({names.back() + ".state", [record](Sink& out) { out += record; }});
    if (lists == PropertyLists::written) {
      files.push_back(
          {names.back() + ".plist", [record](Sink& out) { out += record.substr(formats::recordHeaderSize); }});
    }
  }
  files.push_back({logFileName, [&](Sink& out) {
                     result.log.each([&](const control::LogLine& line) { out += control::logLineJson(line) + '\n'; });
                   }});
  files.push_back({tallyFileName, [&](Sink& out) { out += result.tally; }});
  files.push_back({"manifest.json", [&, names, lists](Sink& out) { writeManifest(out, result, names, lists); }});
  return files;
}

} // namespace vel::stat
