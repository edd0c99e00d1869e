// A file that holds a property list, with or without the header of a state record.
#pragma once

#include <formats/value.h>

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>

namespace vel::stat {

struct RecordHead {
  std::string title;
  std::string decoderLibrary;
  std::string decoderType;
};

struct ValueFile {
  std::string name; // in messages: the path, or "standard input"
  std::size_t size = 0;
  std::optional<RecordHead> record; // none for a property list alone
  formats::Value value;
};

// Longer files are refused. A capture's records take some ten kilobytes each.
constexpr std::size_t valueFileLimit = std::size_t{64} << 20;

// Recognises the kind by the content. Throws Error with name, offset and cause.
ValueFile readValueFile(const std::filesystem::path& path);
// The same for a path that was not named by the user: pipes and devices are refused.
ValueFile readRegularValueFile(const std::filesystem::path& path);

} // namespace vel::stat
