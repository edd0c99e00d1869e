// Tests rules with their samples: each rule has one that triggers it, and one that does not.
#pragma once

#include <query/database.h>
#include <rules/rule.h>

#include <filesystem>
#include <span>
#include <string>
#include <vector>

namespace vel::rules {

// Returns one line for each sample that is missing, cannot be read, or does not give the expected result. Samples are
// in `folder`. Throws Error for an invalid rule.
std::vector<std::string> failedSamples(std::span<const Rule> rules, const std::filesystem::path& folder,
                                       const query::Limits& limits = {});

// The samples of the shipped rules as files in a temporary folder, which lives as long as the object. Throws
// formats::Error.
class ShippedSamples {
public:
  ShippedSamples();
  ~ShippedSamples();
  ShippedSamples(const ShippedSamples&) = delete;
  ShippedSamples& operator=(const ShippedSamples&) = delete;

  const std::filesystem::path& folder() const { return folder_; }

private:
  std::filesystem::path folder_;
};

} // namespace vel::rules
