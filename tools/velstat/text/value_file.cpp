// Recognises the kind of a file by its first bytes.
#include "velstat/text/value_file.h"

#include <formats/files.h>
#include <formats/property_list.h>
#include <formats/state_record.h>
#include <velstat/text/error.h>

#include <fmt/format.h>

#include <span>
#include <string_view>

namespace vel::stat {

namespace {

enum class Kind { record, propertyList, xml, other };

Kind kindOf(std::string_view content) {
  using namespace std::string_view_literals;
  // Type 1 is the only one of a record with a property list; the reader reports anything else that is wrong.
  if (content.starts_with("\x01\0\0\0"sv)) {
    return Kind::record;
  }
  if (content.starts_with("bplist")) {
    return Kind::propertyList;
  }
  const bool xml =
      content.starts_with("<?xml") || content.starts_with("<plist") || content.starts_with("\xEF\xBB\xBF<?xml");
  return xml ? Kind::xml : Kind::other;
}

void parse(ValueFile& file, const std::string& content) {
  const auto bytes = std::as_bytes(std::span(content));
  switch (kindOf(content)) {
  case Kind::record: {
    formats::StateRecord record = formats::parseStateRecord(bytes);
    file.record = {record.title, record.decoderLibrary, record.decoderType};
    file.value = std::move(record.value);
    return;
  }
  case Kind::propertyList:
    file.value = formats::readPropertyList(bytes);
    return;
  case Kind::xml:
    throw formats::PropertyListError(
        "offset 0: an XML property list, where only the binary format is read (plistutil -i XML -o BINARY converts)");
  case Kind::other:
    throw formats::PropertyListError("offset 0: neither a state record nor a binary property list");
  }
}

ValueFile parseFile(const std::filesystem::path& path, const std::string& content) {
  ValueFile file;
  file.name = formats::inputName(path);
  file.size = content.size();
  try {
    parse(file, content);
  } catch (const formats::StateRecordError& error) {
    throw Error(fmt::format("{}: {}", file.name, error.what()));
  } catch (const formats::PropertyListError& error) {
    throw Error(fmt::format("{}: {}", file.name, error.what()));
  }
  return file;
}

} // namespace

ValueFile readValueFile(const std::filesystem::path& path) {
  return parseFile(path, formats::readFile(path, valueFileLimit));
}

ValueFile readRegularValueFile(const std::filesystem::path& path) {
  return parseFile(path, formats::readRegularFile(path, valueFileLimit));
}

} // namespace vel::stat
