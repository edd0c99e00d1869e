// Divides work that reads the same inputs many times among threads. Each thread opens the inputs for itself.
#pragma once

#include <query/database.h>
#include <sources/source.h>

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vel::stat {

// The inputs of a device and of its reference, open for one thread.
struct OpenInputs {
  OpenInputs(const std::vector<std::string>& names, const std::vector<std::string>& referenceNames,
             const sources::Options& options, const query::Limits& limits);

  sources::Sources device;
  std::optional<sources::Sources> reference;
  query::Database database;
  std::optional<query::Database> referenceDatabase;
};

using Pass = std::function<void(OpenInputs& inputs)>;

class Passes {
public:
  // Opens the inputs, for a second thread too if they are large.
  Passes(const std::vector<std::string>& names, const std::vector<std::string>& referenceNames,
         const query::Limits& limits);

  // Runs each pass once, on any thread. Throws the first exception of a pass; some passes may not have run then.
  void run(std::span<const Pass> passes);

  // The inputs of the calling thread.
  OpenInputs& inputs() { return *open_.front(); }
  std::size_t threads() const { return open_.size(); }
  bool areSound() const;

private:
  sources::Options options();

  std::vector<std::unique_ptr<OpenInputs>> open_;
  std::mutex complaintsMutex_;
  std::set<std::string, std::less<>> complaints_; // shown already: several threads meet the same ones
};

} // namespace vel::stat
