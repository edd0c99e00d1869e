// Reads lists in JSON lines, and the manifests of capture folders.
#include "fleet/capture_list.h"

#include <fleet/error.h>
#include <formats/files.h>
#include <formats/json_document.h>
#include <formats/json_node.h>
#include <sources/capture_notes.h>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <optional>
#include <system_error>

namespace vel::fleet {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t longestList = std::size_t{1} << 30;
constexpr std::size_t longestManifest = std::size_t{64} << 20;
constexpr std::size_t longestPath = 4096;
constexpr std::size_t longestName = 256;

std::string textOf(const formats::JsonNode& node, std::string_view key, std::size_t longest) {
  const auto value = node.find(key);
  return value ? value->text(longest) : std::string();
}

bool isShowable(std::string_view text) {
  return text.size() <= longestName && std::none_of(text.begin(), text.end(), [](char character) {
           const auto byte = static_cast<unsigned char>(character);
           return byte < ' ' || byte == 0x7f;
         });
}

} // namespace

std::vector<ListedCapture> readCaptureList(const fs::path& list) {
  const std::string content = formats::readFile(list, longestList);
  const std::string name = formats::inputName(list);
  std::vector<ListedCapture> captures;
  std::size_t number = 0;
  for (std::size_t begin = 0; begin < content.size();) {
    const std::size_t end = std::min(content.find('\n', begin), content.size());
    const std::string_view line = std::string_view(content).substr(begin, end - begin);
    begin = end + 1;
    ++number;
    if (line.find_first_not_of(" \t\r") == std::string_view::npos) {
      continue;
    }
    const std::string source = fmt::format("{}: line {}", name, number);
    const formats::Json document = formats::parseJson(line, source);
    const formats::JsonNode node(document, source);
    if (!node.isObject()) {
      node.fail("is not an object with the path of a capture");
    }
    node.requireKeys({"path"});
    ListedCapture capture;
    const fs::path path = textOf(node, "path", longestPath);
    if (path.empty()) {
      node.fail("the path is empty");
    }
    capture.path = path.is_absolute() ? path.string() : (list.parent_path() / path).string();
    capture.origin = {textOf(node, "device", longestName), textOf(node, "build", longestName),
                      textOf(node, "lot", longestName)};
    captures.push_back(std::move(capture));
  }
  return captures;
}

void completeFromManifest(const fs::path& path, Origin& origin) {
  const fs::path manifest = path / sources::manifestName;
  std::error_code error;
  const bool isComplete = !origin.device.empty() && !origin.build.empty() && !origin.lot.empty();
  if (isComplete || !fs::is_directory(path, error) || !fs::exists(manifest, error)) {
    return;
  }
  sources::Capture capture;
  sources::readManifest(formats::readRegularFile(manifest, longestManifest), manifest.string(), capture);
  const auto fill = [](std::string& into, const std::string& from) {
    if (into.empty()) {
      into = from;
    }
  };
  fill(origin.device, capture.deviceId);
  fill(origin.build, capture.build);
  fill(origin.lot, capture.lot);
}

void requireOrigin(const std::string& path, const Origin& origin) {
  if (origin.device.empty()) {
    throw Error(fmt::format("{}: the device's id is not known: name it with --device, in the list, or as \"device id\" "
                            "in the manifest",
                            path));
  }
  for (const std::string* const text : {&origin.device, &origin.build, &origin.lot}) {
    if (!isShowable(*text)) {
      throw Error(
          fmt::format("{}: device, build and lot have at most {} bytes and no control characters", path, longestName));
    }
  }
}

} // namespace vel::fleet
