// Stores each log line as a time and the number of its text.
#include "velstat/capture/captured_log.h"

#include <string_view>
#include <utility>

namespace vel::stat {

bool isRoutine(std::string_view message) {
  return message.starts_with("publishTSData op=");
}

void CapturedLog::add(control::LogLine line) {
  const auto [text, isNew] = numbers_.try_emplace(
      Text(line.type, std::move(line.subsystem), std::move(line.category), std::move(line.message)), texts_.size());
  if (isNew) {
    texts_.push_back(&text->first);
  }
  entries_.push_back({line.time, text->second});
}

void CapturedLog::each(const std::function<void(const control::LogLine&)>& take) const {
  for (const auto& [time, number] : entries_) {
    const auto& [type, subsystem, category, message] = *texts_[number];
    take({.type = type, .subsystem = subsystem, .category = category, .message = message, .time = time});
  }
}

std::vector<CapturedLog::Repeated> CapturedLog::repeated() const {
  std::vector<std::size_t> times(texts_.size());
  for (const Entry& entry : entries_) {
    ++times[entry.text];
  }
  std::vector<Repeated> repeated;
  std::map<std::pair<os_log_type_t, std::string_view>, std::size_t> places;
  for (std::size_t i = 0; i < texts_.size(); ++i) {
    const auto& [type, subsystem, category, message] = *texts_[i];
    const auto [place, isNew] = places.try_emplace({type, message}, repeated.size());
    if (isNew) {
      repeated.push_back({type, &message, 0});
    }
    repeated[place->second].times += times[i];
  }
  return repeated;
}

} // namespace vel::stat
