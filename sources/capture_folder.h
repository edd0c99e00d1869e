// Reads what `velstat capture --out` writes, and single state records and property lists.
#pragma once

#include <sources/complaints.h>
#include <sources/source.h>

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace vel::sources {

// Longer files are refused. A capture's records take some ten kilobytes each.
constexpr std::size_t smallFileLimit = std::size_t{64} << 20;

// Sorts the record files of a capture by the number at the beginning of their names: "1000-" comes after "999-".
void sortRecordFiles(std::vector<std::filesystem::path>& files);

// Throws formats::Error if it is not such a folder. A file in it that cannot be read is reported and left out.
Capture readCaptureFolder(const std::filesystem::path& folder, Complaints& complaints);

// Reads a state record, or a property list in either format; its content must be a report of the plug-in unless
// `anyList` is set. `name` is for messages. Throws formats::Error.
Report readReport(Kind kind, std::string_view content, const std::string& name, bool anyList = false);

} // namespace vel::sources
