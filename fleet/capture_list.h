// Which captures are to be loaded, and of which device, build and lot each is.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace vel::fleet {

struct Origin {
  std::string device; // empty: not known, as the others
  std::string build;
  std::string lot;
};

struct ListedCapture {
  std::string path;
  Origin origin;
};

// JSON lines: {"path": "captures/a", "device": "a", "build": "1.2", "lot": "7"}. Relative paths begin in the list's
// folder; other keys are ignored. Throws formats::Error with the line.
std::vector<ListedCapture> readCaptureList(const std::filesystem::path& list);

// What is empty in `origin` is taken from the manifest, if `path` is a folder with one. Throws formats::Error.
void completeFromManifest(const std::filesystem::path& path, Origin& origin);

// An id of a device that can be stored and shown: not empty, not too long, without control characters. Throws Error
// with the path.
void requireOrigin(const std::string& path, const Origin& origin);

} // namespace vel::fleet
