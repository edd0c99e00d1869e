// Runs each rule on its own samples.
#include "rules/self_test.h"

#include <rules/triage.h>
#include <sources/source.h>

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <system_error>
#include <utility>

namespace vel {
extern const std::span<const std::pair<std::string_view, std::string_view>> embeddedSamples;
}

namespace vel::rules {

namespace {

namespace fs = std::filesystem;

class RuleTest {
public:
  RuleTest(const Rule& rule, const fs::path& folder, const query::Limits& limits)
      : rule_(rule), folder_(folder), limits_(limits) {}

  std::vector<std::string> failures() {
    std::optional<sources::Sources> reference;
    if (!rule_.reference.empty()) {
      reference.emplace(std::vector{(folder_ / rule_.reference).string()}, options());
    }
    sources::Sources* const compared = reference ? &*reference : nullptr;
    judge("triggers", rule_.triggers, "finds nothing in", true, compared);
    judge("clean", rule_.clean, "finds something in", false, compared);
    return std::move(failures_);
  }

private:
  sources::Options options() {
    return {.tellFindings = false, .complain = [this](std::string_view line) { fail(std::string(line)); }};
  }

  void fail(const std::string& what) { failures_.push_back(fmt::format("{}: {}", rule_.file, what)); }

  void judge(const char* key, const std::string& sample, const char* otherwise, bool expected,
             sources::Sources* reference) {
    if (sample.empty()) {
      fail(fmt::format("names no sample: '-- {}: …' is missing", key));
      return;
    }
    sources::Sources sources({(folder_ / sample).string()}, options());
    if (triage(sources, reference, {&rule_, 1}, limits_).empty() == expected) {
      fail(fmt::format("{} its sample {}", otherwise, sample));
    }
  }

  const Rule& rule_;
  const fs::path& folder_;
  const query::Limits& limits_;
  std::vector<std::string> failures_;
};

} // namespace

std::vector<std::string> failedSamples(std::span<const Rule> rules, const fs::path& folder,
                                       const query::Limits& limits) {
  std::vector<std::string> all;
  for (const Rule& rule : rules) {
    const std::vector<std::string> failures = RuleTest(rule, folder, limits).failures();
    all.insert(all.end(), failures.begin(), failures.end());
  }
  return all;
}

ShippedSamples::ShippedSamples() {
  std::error_code error;
  std::string name = (fs::temp_directory_path(error) / "velstat-samples-XXXXXX").string();
  if (error || mkdtemp(name.data()) == nullptr) {
    throw formats::Error(fmt::format("{}: a temporary folder for samples cannot be made: {}", name,
                                     error ? error.message() : std::system_category().message(errno)));
  }
  folder_ = name;
  try {
    for (const auto& [file, content] : embeddedSamples) {
      fs::create_directories((folder_ / file).parent_path());
      std::ofstream out(folder_ / file, std::ios::binary);
      if (!out.write(content.data(), static_cast<std::streamsize>(content.size())).flush()) {
        throw formats::Error(fmt::format("{}: cannot be written", (folder_ / file).string()));
      }
    }
  } catch (...) {
    fs::remove_all(folder_, error);
    throw;
  }
}

ShippedSamples::~ShippedSamples() {
  std::error_code error; // ignored: the destructor cannot report it
  fs::remove_all(folder_, error);
}

} // namespace vel::rules
