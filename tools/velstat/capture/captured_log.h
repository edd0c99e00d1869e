// The log of a capture. It may have a million lines with few different texts, so each text is stored once.
#pragma once

#include <control/log.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <tuple>
#include <vector>

namespace vel::stat {

// Whether a line only says that a value was published. The plug-in logs such lines as errors, and a healthy device
// causes many of them.
bool isRoutine(std::string_view message);

class CapturedLog {
public:
  CapturedLog() = default;
  CapturedLog(CapturedLog&&) = default;
  CapturedLog& operator=(CapturedLog&&) = default;
  CapturedLog(const CapturedLog&) = delete; // `numbers_` refers to the keys of its own map
  CapturedLog& operator=(const CapturedLog&) = delete;

  void add(control::LogLine line);
  std::size_t size() const { return entries_.size(); }

  // In the order of the log.
  void each(const std::function<void(const control::LogLine&)>& take) const;

  // Lines with the same level and message. repeated() returns them in the order of their first lines.
  struct Repeated {
    os_log_type_t type;
    const std::string* message;
    std::size_t times;
  };
  std::vector<Repeated> repeated() const;

private:
  using Text = std::tuple<os_log_type_t, std::string, std::string, std::string>; // level, subsystem, category, message
  struct Entry {
    std::int64_t time;
    std::uint32_t text; // number of its text
  };

  std::map<Text, std::uint32_t> numbers_;
  std::vector<const Text*> texts_; // by number
  std::vector<Entry> entries_;
};

} // namespace vel::stat
