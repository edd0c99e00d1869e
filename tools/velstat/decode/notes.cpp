// Collects the notes between records, and words them.
#include "velstat/decode/notes.h"

#include <velstat/text/escape.h>
#include <velstat/text/table.h>

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace vel::stat {

void Notes::addRead(const sources::Details& details, const std::vector<sources::Run>& runs) {
  using Start = sources::Run::Start;
  if (details.run >= runs_) { // runs are numbered in the order of their first records
    runs_ = details.run + 1;
    const sources::Run& run = runs[details.run];
    if (run.start != Start::first) {
      pending_.clear(); // they belong to an earlier run, of which nothing is shown
      missing_ = 0;
      add(run.start == Start::restarted ? fmt::format("restart, sequence numbers begin anew with {}", run.firstSequence)
                                        : std::string("the clock went back"),
          run.log, true);
    }
  }
  if (details.missing != 0) {
    const std::string& log = runs[details.run].log;
    missingIn_ = missing_ == 0 || missingIn_ == log ? log : std::string();
    missing_ += details.missing;
  }
}

void Notes::add(std::string text, const std::string& log, bool isRestart) {
  std::string line = fmt::format("-- {}{}", text, log.empty() ? "" : fmt::format(" ({})", escape(log)));
  pending_.push_back({.isRestart = isRestart, .text = width_ == 0 ? std::move(line) : cut(std::move(line), width_)});
}

void Notes::moveTo(std::vector<sources::Note>& notes, std::size_t index) {
  if (missing_ != 0) {
    add(missing_ == 1 ? "1 record is missing" : fmt::format("{} records are missing", missing_), missingIn_, false);
    missing_ = 0;
  }
  for (sources::Note& note : pending_) {
    note.before = index;
    notes.push_back(std::move(note));
  }
  pending_.clear();
}

} // namespace vel::stat
