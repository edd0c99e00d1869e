// What a node of a JSON document may be read as, and up to which size.
#include <formats/error.h>
#include <formats/json_node.h>

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

using namespace vel::formats;

// Where the property of a document with only this one is wrong, and why.
std::string propertyRefusal(const std::string& property) {
  static const std::string name = "test";
  const Json document = parseJson("[" + property + "]", name);
  try {
    JsonNode(document, name).items(1).front().propertyValue();
  } catch (const Error& error) {
    return error.what();
  }
  return "(accepted)";
}

TEST(JsonNode, PropertyTexts_HaveAtMost64KiB) {
  const std::string text(65536, 'x');
  EXPECT_EQ(propertyRefusal("\"" + text + "\""), "(accepted)");
  EXPECT_EQ(propertyRefusal("\"" + text + "x\""), "test: /0: has 65537 bytes, at most 65536 are allowed");
}

TEST(JsonNode, PropertyData_HasAtMost1MiB) {
  const std::string digits(std::size_t{2} << 20, '0');
  EXPECT_EQ(propertyRefusal("{\"$data\": \"" + digits + "\"}"), "(accepted)");
  EXPECT_EQ(propertyRefusal("{\"$data\": \"" + digits + "00\"}"),
            "test: /0/$data: has 1048577 bytes, at most 1048576 are allowed");
}

} // namespace
