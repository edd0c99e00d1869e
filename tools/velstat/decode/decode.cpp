// Puts the parts together: source, selection and statistics one after the other on whichever thread reads, renderers on
// all threads, and the standard output.
#include "velstat/decode/decode.h"

#include <velstat/decode/pipeline.h>
#include <velstat/decode/progress.h>
#include <velstat/decode/record_header.h>
#include <velstat/decode/record_source.h>
#include <velstat/decode/renderer.h>
#include <velstat/decode/statistics.h>
#include <velstat/text/output.h>

#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace vel::stat {

namespace {

// Records that are to be shown, in order. [one thread at a time]
class Reader {
public:
  Reader(const DecodeOptions& options, Selection selection)
      : complaints_([this](std::string_view line) {
          progress_.clear();
          complain(line);
        }),
        input_(options.files, complaints_,
               options.format == DecodeFormat::none ? Input::Output::none : Input::Output::standard),
        progress_(input_.totalSize()),
        source_(options.recover ? makeRecoveringSource(input_, complaints_) : makePlainSource(input_, complaints_)),
        selection_(std::move(selection)), counts_(options.statistics != StatisticsFormat::none) {}

  bool read(Unit& unit) {
    while (!selection_.isFull()) {
      const std::size_t count = source_->read({unit.records.get(), Unit::capacity * recordSize});
      if (count == 0) {
        return false;
      }
      records_ += count;
      progress_.update(records_, input_.bytesRead());
      unit.count = selection_.showsAll() && !counts_ ? count : select(unit.records.get(), count);
      if (unit.count != 0) {
        return true;
      }
    }
    return false;
  }

  void cancel() noexcept { input_.cancel(); }

  // Nothing more is read: other lines may follow.
  void finish() { progress_.clear(); }

  bool isSound() const { return !complaints_.any(); }
  const Statistics& statistics() const { return statistics_; }

private:
  // Moves what is to be shown to the front.
  std::size_t select(unsigned char* records, std::size_t count) {
    std::size_t kept = 0;
    for (std::size_t i = 0; i < count && !selection_.isFull(); ++i) {
      const unsigned char* const record = records + i * recordSize;
      if (counts_) {
        statistics_.addRead(record);
      }
      if (!selection_.passes(record)) {
        continue;
      }
      if (counts_) {
        statistics_.addSelected(record);
      }
      if (selection_.showsNext()) {
        std::memmove(records + kept * recordSize, record, recordSize);
        ++kept;
      }
    }
    statistics_.addShown(kept);
    return kept;
  }

  Complaints complaints_;
  Input input_;
  Progress progress_;
  std::unique_ptr<RecordSource> source_;
  Selection selection_;
  bool counts_;
  std::uint64_t records_ = 0;
  Statistics statistics_;
};

std::unique_ptr<Renderer> makeRenderer(const DecodeOptions& options) {
  switch (options.format) {
  case DecodeFormat::escapedText:
    return makeEscapedTextRenderer(options.times);
  case DecodeFormat::framedText:
    return makeTextRenderer(options.times, profile::Framing::length_prefix);
  case DecodeFormat::json:
    return makeJsonRenderer(options.times);
  case DecodeFormat::csv:
    return makeCsvRenderer(options.times);
  default:
    return makeTextRenderer(options.times, profile::Framing::newline);
  }
}

void show(const DecodeOptions& options, Reader& reader) {
  if (options.format == DecodeFormat::csv) {
    writeStandardOutput(csvHeader);
  }
  enlargePipe(STDOUT_FILENO);
  runInOrder(options.jobs, {
                               .read = [&](Unit& unit) { return reader.read(unit); },
                               .makeRender = [&]() -> std::function<void(Unit&)> {
                                 std::shared_ptr<Renderer> renderer = makeRenderer(options);
                                 return [renderer](Unit& unit) {
                                   renderer->render(unit.records.get(), unit.count, unit.out);
                                 };
                               },
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

bool decode(const DecodeOptions& options, Selection selection) {
  Reader reader(options, std::move(selection));
  const bool shows = options.format != DecodeFormat::none;
  if (shows) {
    show(options, reader);
  } else {
    count(reader);
  }
  reader.finish();
  if (options.statistics != StatisticsFormat::none) {
    const Statistics& statistics = reader.statistics();
    const std::string text = options.statistics == StatisticsFormat::json ? statistics.asJson() : statistics.asText();
    if (shows) { // the records are the result; what is said about them must not mix with them
      std::fputs(text.c_str(), stderr);
    } else {
      writeStandardOutput(text);
    }
  }
  return reader.isSound();
}

} // namespace vel::stat
