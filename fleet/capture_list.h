// Which captures are to be loaded, and which device, build and lot each one comes from.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace vel::fleet {

struct Origin {
  std::string device; // empty if not known, like the others
  std::string build;
  std::string lot;
};

struct ListedCapture {
  std::string path;
  Origin origin;
};

// JSON lines: {"path": "captures/a", "device": "a", "build": "1.2", "lot": "7"}. Relative paths are relative to the
// list's folder; other keys are ignored. Throws formats::Error with the line.
std::vector<ListedCapture> readCaptureList(const std::filesystem::path& list);

// Fills the empty fields of `origin` from the manifest, if `path` is a folder with one. Throws formats::Error.
void completeFromManifest(const std::filesystem::path& path, Origin& origin);

// Throws Error with the path if the device's id is empty, or if a field is too long or has control characters.
void requireOrigin(const std::string& path, const Origin& origin);

} // namespace vel::fleet
