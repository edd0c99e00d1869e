#include "sources/capture_notes.h"

#include <formats/error.h>
#include <formats/json_document.h>
#include <formats/json_node.h>
#include <sources/capture_folder.h>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <limits>
#include <stdexcept>

namespace vel::sources {

namespace {

using formats::JsonNode;

constexpr std::size_t longestName = 4096;
constexpr std::size_t mostItems = 65536;
constexpr auto anyNumber = std::numeric_limits<std::uint64_t>::max();

std::string textOf(const JsonNode& node, std::string_view key) {
  const auto value = node.find(key);
  return value ? value->text(longestName) : std::string();
}

std::uint64_t numberOf(const JsonNode& node, std::string_view key, std::uint64_t most = anyNumber) {
  const auto value = node.find(key);
  return value ? value->unsignedNumber(most) : 0;
}

template <class Take>
void eachOf(const JsonNode& node, std::string_view key, Take take) {
  if (const auto list = node.find(key)) {
    for (const JsonNode& item : list->items(mostItems)) {
      take(item);
    }
  }
}

Service readService(const JsonNode& node) {
  Service service;
  service.name = textOf(node, "name");
  eachOf(node, "usages", [&](const JsonNode& usage) {
    service.usages.emplace_back(numberOf(usage, "page", 0xffffffff), numberOf(usage, "usage", 0xffffffff));
  });
  const auto opened = node.find("opened");
  service.opened = opened && opened->flag();
  service.firstHandler = numberOf(node, "first handler");
  service.handlers = numberOf(node, "handlers");
  service.logLines = numberOf(node, "log lines");
  return service;
}

Handler readHandler(const JsonNode& node) {
  Handler handler;
  handler.number = numberOf(node, "handler");
  handler.service = textOf(node, "service");
  const auto answered = node.find("answered");
  handler.answered = answered && answered->flag();
  if (const auto result = node.find("result")) {
    handler.result = static_cast<std::uint32_t>(result->unsignedNumber(0xffffffff));
  }
  handler.resultText = textOf(node, "result text");
  return handler;
}

} // namespace

RecordNotes readManifest(const std::string& content, const std::string& name, Capture& capture) {
  const formats::Json document = formats::parseJson(content, name);
  const JsonNode root(document, name);
  if (!root.isObject()) {
    root.fail("is not the manifest of a capture");
  }
  Capture read;
  RecordNotes notes;
  read.version = textOf(root, "version");
  read.device = textOf(root, "device");
  read.deviceId = textOf(root, "device id");
  read.build = textOf(root, "build");
  read.lot = textOf(root, "lot");
  read.model = textOf(root, "model");
  read.plugIn = textOf(root, "plug-in");
  read.api = static_cast<std::uint32_t>(numberOf(root, "api", 0xffffffff));
  eachOf(root, "services", [&](const JsonNode& node) { read.services.push_back(readService(node)); });
  eachOf(root, "handler results", [&](const JsonNode& node) { read.handlers.push_back(readHandler(node)); });
  eachOf(root, "records", [&](const JsonNode& node) { notes[textOf(node, "file")] = numberOf(node, "handler"); });
  capture = std::move(read);
  return notes;
}

std::vector<LogEntry> readLog(const std::string& content, const std::string& name) {
  std::vector<LogEntry> log;
  std::size_t number = 0;
  for (std::size_t begin = 0; begin < content.size();) {
    const std::size_t end = std::min(content.find('\n', begin), content.size());
    const std::string source = fmt::format("{}: line {}", name, ++number);
    const formats::Json document = formats::parseJson(std::string_view(content).substr(begin, end - begin), source);
    const JsonNode node(document, source);
    if (!node.isObject()) {
      node.fail("is not a log entry");
    }
    const auto message = node.find("message");
    log.push_back({.time = textOf(node, "time"),
                   .level = textOf(node, "level"),
                   .subsystem = textOf(node, "subsystem"),
                   .category = textOf(node, "category"),
                   .message = message ? message->text(smallFileLimit) : std::string()});
    begin = end + 1;
  }
  return log;
}

std::vector<Metric> readMetrics(const std::filesystem::path& path) {
  try {
    return control::readTallyStore(path);
  } catch (const std::runtime_error& error) {
    throw formats::Error(error.what());
  }
}

} // namespace vel::sources
