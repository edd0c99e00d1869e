// Connects the parts: sources, selection and statistics on the thread that reads, renderers on all threads, and
// standard output.
#include "velstat/decode/decode.h"

#include <sources/clock.h>
#include <sources/input.h>
#include <sources/record.h>
#include <sources/source.h>
#include <velstat/decode/notes.h>
#include <velstat/decode/pipeline.h>
#include <velstat/decode/progress.h>
#include <velstat/decode/statistics.h>
#include <velstat/decode/text_renderer.h>
#include <velstat/text/error.h>
#include <velstat/text/output.h>

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <optional>
#include <stdexcept>
#include <unistd.h>
#include <vector>

namespace vel::stat {

namespace {

using sources::recordSize;

sources::Options sourceOptions(const DecodeOptions& options, std::function<void(std::string_view)> complain) {
  return {.all = options.all,
          .recover = options.recover,
          .waits = false,
          .jobs = options.jobs,
          .watchedOutput = options.format == DecodeFormat::none ? -1 : STDOUT_FILENO,
          .complain = std::move(complain)};
}

std::uint64_t sizeOf(const std::vector<sources::InputInfo>& inputs) {
  std::uint64_t size = 0;
  for (const sources::InputInfo& input : inputs) {
    if (input.size == 0) {
      return 0;
    }
    size += input.size;
  }
  return size;
}

bool isCaptured(sources::Kind kind) {
  return kind == sources::Kind::capture || kind == sources::Kind::stateRecord || kind == sources::Kind::propertyList;
}

// Reads the records to be shown, in order. [one thread at a time]
class Reader {
public:
  Reader(const DecodeOptions& options, sources::Selection selection)
      : sources_(options.files, sourceOptions(options,
                                              [this](std::string_view line) {
                                                if (quiet_) {
                                                  return;
                                                }
                                                if (progress_) {
                                                  progress_->clear();
                                                }
                                                complain(line);
                                              })),
        records_(sources_.records()), selection_(std::move(selection)),
        counts_(options.statistics != StatisticsFormat::none) {
    if (options.format == DecodeFormat::brief) {
      notes_.emplace(options.width);
    }
    time_ = options.time;
    log_.sync = options.times ? options.times->sync : std::nullopt;
    if (time_.needsLast()) {
      findLast();
    }
    if (time_.isFixed()) {
      resolveTime();
    }
    progress_.emplace(sizeOf(sources_.inputs()));
    // Details of raw records cost time, and add nothing to the statistics.
    const auto& inputs = sources_.inputs();
    if (notes_ || (counts_ && std::any_of(inputs.begin(), inputs.end(),
                                          [](const auto& input) { return isCaptured(input.kind); }))) {
      details_.resize(Unit::capacity);
    }
  }

  bool read(Unit& unit) {
    try {
      return readSome(unit);
    } catch (const sources::OutputClosed&) {
      throw ReaderGone();
    }
  }

  void cancel() noexcept { records_->cancel(); }

  // Ends the reading and removes the progress line, so that other lines may follow.
  void finish() {
    for (const sources::Run& run : records_->runs()) {
      const bool restarted = isCaptured(sources_.inputs()[run.input].kind) && run.start != sources::Run::Start::first;
      statistics_.addRestarts(restarted ? 1 : 0);
    }
    records_.reset(); // writes its last complaints
    progress_->clear();
  }

  bool isSound() const { return sources_.isSound(); }
  const std::vector<sources::InputInfo>& inputs() const { return sources_.inputs(); }
  const Statistics& statistics() const { return statistics_; }

private:
  // Reads everything once to find the last time stamp. Complaints are dropped here, because the second reading repeats
  // them.
  void findLast() {
    for (const sources::InputInfo& input : sources_.inputs()) {
      if (input.kind == sources::Kind::waiting || input.path == "-") {
        throw Error(fmt::format("{}: can be read only once, but 'last' has to find the end first: save it to a file",
                                input.name));
      }
    }
    quiet_ = true;
    const auto records = sources_.records();
    const auto room = std::make_unique_for_overwrite<unsigned char[]>(Unit::capacity * recordSize);
    while (const std::size_t count = records->read({room.get(), Unit::capacity * recordSize})) {
      log_.last = sources::timeStamp(room.get() + (count - 1) * recordSize);
    }
    quiet_ = false;
  }

  void resolveTime() {
    try {
      selection_.narrowTime(time_.resolve(log_));
    } catch (const std::invalid_argument& error) {
      throw Error(error.what());
    }
    isTimeResolved_ = true;
  }

  // The first record, and for a pipe also the relation between the clocks, are known once something has been read.
  void resolveTimeFrom(const unsigned char* first) {
    log_.first = sources::timeStamp(first);
    if (!log_.sync) {
      log_.sync = sources::commonTimes(sources_.inputs()).sync;
    }
    resolveTime();
  }

  bool readSome(Unit& unit) {
    while (!selection_.isFull()) {
      const std::size_t count = records_->read({unit.records.get(), Unit::capacity * recordSize}, details_);
      if (count == 0) {
        return false;
      }
      if (!isTimeResolved_) {
        resolveTimeFrom(unit.records.get());
      }
      seen_ += count;
      progress_->update(seen_, records_->bytesRead());
      unit.count = selection_.showsAll() && !counts_ && !notes_ ? count : select(unit, count);
      if (unit.count != 0) {
        return true;
      }
    }
    return false;
  }

  // Records of captures come from several logs, each with its own sequence numbers; all others count as one log.
  std::size_t runOf(std::size_t record) const {
    const bool captured = !details_.empty() && details_[record].location.report != sources::Location::noReport;
    return captured ? details_[record].run + std::size_t{1} : 0;
  }

  // Moves the selected records to the front.
  std::size_t select(Unit& unit, std::size_t count) {
    unsigned char* const records = unit.records.get();
    std::size_t kept = 0;
    unit.notes.clear();
    unit.previous = lastShown_;
    for (std::size_t i = 0; i < count && !selection_.isFull(); ++i) {
      const unsigned char* const record = records + i * recordSize;
      if (counts_) {
        statistics_.addRead(record, runOf(i));
      }
      if (notes_) {
        notes_->addRead(details_[i], records_->runs());
      }
      if (!selection_.passes(record)) {
        continue;
      }
      if (counts_) {
        statistics_.addSelected(record);
      }
      if (selection_.showsNext()) {
        if (notes_) {
          notes_->moveTo(unit.notes, kept);
          lastShown_ = sources::timeStamp(record);
        }
        std::memmove(records + kept * recordSize, record, recordSize);
        ++kept;
      }
    }
    statistics_.addShown(kept);
    return kept;
  }

  std::optional<Progress> progress_; // set when the sources are known
  bool quiet_ = false;
  sources::Sources sources_;
  std::unique_ptr<sources::RecordStream> records_;
  sources::Selection selection_;
  sources::TimeRange time_;
  sources::LogTimes log_; // filled in as it becomes known
  bool isTimeResolved_ = false;
  bool counts_;
  std::optional<Notes> notes_;             // for brief lines
  std::optional<std::uint64_t> lastShown_; // time stamp of the last shown record, for brief lines
  std::vector<sources::Details> details_;  // of the records read last; empty if they are not needed
  std::uint64_t seen_ = 0;
  Statistics statistics_;
};

std::unique_ptr<sources::Renderer> makeRenderer(const DecodeOptions& options, const profile::TimePolicy& times,
                                                const profile::Layout* columns) {
  switch (options.format) {
  case DecodeFormat::escapedText:
    return makeEscapedTextRenderer(times);
  case DecodeFormat::framedText:
    return makeTextRenderer(times, profile::Framing::length_prefix);
  case DecodeFormat::json:
    return options.fields ? sources::makeJsonRenderer(times, *options.fields) : sources::makeJsonRenderer(times);
  case DecodeFormat::csv:
    return options.fields ? sources::makeCsvRenderer(times, *options.fields) : sources::makeCsvRenderer(times, columns);
  case DecodeFormat::raw:
    return makeRawRenderer();
  default:
    return makeTextRenderer(times, profile::Framing::newline);
  }
}

std::function<void(Unit&)> makeRender(const DecodeOptions& options, const profile::TimePolicy& times,
                                      const profile::Layout* columns) {
  if (options.format == DecodeFormat::brief) {
    const auto renderer = std::make_shared<sources::BriefRenderer>(
        sources::BriefOptions{times, options.differences, options.width, options.fields});
    return [renderer](Unit& unit) {
      renderer->render({unit.records.get(), unit.count, unit.previous, unit.notes}, unit.out);
    };
  }
  const std::shared_ptr<sources::Renderer> renderer = makeRenderer(options, times, columns);
  return [renderer](Unit& unit) { renderer->render(unit.records.get(), unit.count, unit.out); };
}

void show(const DecodeOptions& options, Reader& reader, const profile::Layout* columns) {
  if (options.format == DecodeFormat::csv) {
    writeStandardOutput(options.fields ? sources::csvHeaderWith(*options.fields) : sources::csvHeaderWith(columns));
  }
  sources::enlargePipe(STDOUT_FILENO);
  const profile::TimePolicy times = options.times ? *options.times : sources::commonTimes(reader.inputs());
  runInOrder(options.jobs, {
                               .read = [&](Unit& unit) { return reader.read(unit); },
                               .makeRender = [&] { return makeRender(options, times, columns); },
                               .write = writeStandardOutput,
                               .cancelRead = [&] { reader.cancel(); },
                           });
}

void count(Reader& reader) {
  Unit unit;
  unit.records = std::make_unique_for_overwrite<unsigned char[]>(Unit::capacity * recordSize);
  while (reader.read(unit)) {
  }
}

} // namespace

bool decode(const DecodeOptions& options, sources::Selection selection) {
  const profile::Layout* const columns = selection.onlyLayout();
  Reader reader(options, std::move(selection));
  const bool shows = options.format != DecodeFormat::none;
  if (shows) {
    show(options, reader, columns);
  } else {
    count(reader);
  }
  reader.finish();
  if (options.statistics != StatisticsFormat::none) {
    const Statistics& statistics = reader.statistics();
    const std::string text = options.statistics == StatisticsFormat::json ? statistics.asJson() : statistics.asText();
    if (shows) { // the records are the result, so statistics must go elsewhere
      writeStandardError(text);
    } else {
      writeStandardOutput(text);
    }
  }
  return reader.isSound();
}

} // namespace vel::stat
