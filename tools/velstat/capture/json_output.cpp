// A capture as one JSON document.
#include <velstat/capture/result.h>
#include <velstat/tally/output.h>
#include <velstat/text/json_writer.h>
#include <velstat/triage/output.h>

namespace vel::stat {

void writeServices(JsonWriter& json, const CaptureResult& result) {
  json.beginArray();
  for (const CapturedService& service : result.services) {
    json.beginObject();
    json.member("name", service.name);
    json.key("usages");
    json.beginArray();
    for (const host::UsageModel& usage : service.usages) {
      json.beginObject();
      json.member("page", usage.page);
      json.member("usage", usage.usage);
      json.endObject();
    }
    json.endArray();
    json.key("opened");
    json.boolean(service.opened);
    if (service.registration.handlers > 0) {
      json.member("first handler", service.registration.firstHandler);
    }
    json.member("handlers", service.registration.handlers);
    json.member("log lines", service.logLines);
    json.endObject();
  }
  json.endArray();
}

namespace {

void writeRecords(JsonWriter& json, const CaptureResult& result) {
  json.beginArray();
  for (const host::CapturedRecord& captured : result.records) {
    json.beginObject();
    json.member("handler", captured.handler);
    json.member("title", captured.record.title);
    json.member("data size", captured.record.dataSize);
    json.key("value");
    json.value(captured.record.value);
    json.endObject();
  }
  json.endArray();
}

} // namespace

void captureJson(Sink& out, const CaptureResult& result) {
  JsonWriter json(out);
  json.beginObject();
  json.member("device", result.device);
  json.key("plug-in");
  json.beginObject();
  json.member("identifier", result.plugIn);
  json.member("path", result.path);
  json.endObject();
  json.member("api", result.api);
  json.key("findings");
  writeFindings(json, result.findings);
  json.key("services");
  writeServices(json, result);
  json.member("handlers", result.handlers);
  json.key("records");
  writeRecords(json, result);
  json.key("log");
  json.beginArray();
  result.log.each([&](const control::LogLine& line) { json.json(control::logLineJson(line)); });
  json.endArray();
  json.key("metrics");
  tallyJson(json, result.metrics);
  json.endObject();
  out += '\n';
}

} // namespace vel::stat
