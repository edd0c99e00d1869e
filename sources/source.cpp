// Recognises the inputs, and concatenates their records.
#include "sources/source.h"

#include <formats/error.h>
#include <formats/files.h>
#include <formats/unnamed_file.h>
#include <sources/capture_folder.h>
#include <sources/line_formats.h>
#include <sources/parts.h>
#include <sources/recognise.h>
#include <sources/report_lines.h>

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <optional>
#include <sys/stat.h>
#include <utility>

namespace vel::sources {

namespace {

bool isSmall(Kind kind) {
  return kind == Kind::capture || kind == Kind::stateRecord || kind == Kind::propertyList;
}

bool hasRecords(Kind kind) {
  return kind == Kind::records || kind == Kind::lines || kind == Kind::jsonLines || kind == Kind::csvLines;
}

// Reads all of an open input. Throws formats::Error if it is too long; the input reports other failures as complaints.
std::string readAll(Input& input) {
  const auto require = [&](std::uint64_t size) {
    if (size > smallFileLimit) {
      throw formats::Error(fmt::format("{}: longer than the {} bytes that are allowed", input.name(), smallFileLimit));
    }
  };
  const std::uint64_t size = input.regularSize().value_or(0);
  require(size);
  std::string content;
  content.reserve(size);
  unsigned char block[1 << 14];
  while (const std::size_t got = input.read(block, sizeof block)) {
    content.append(reinterpret_cast<const char*>(block), got);
    require(content.size());
  }
  return content;
}

} // namespace

const char* kindName(Kind kind) {
  constexpr const char* names[] = {"nothing that is known", "a pipe",         "raw records",
                                   "a capture folder",      "a state record", "a property list",
                                   "lines of text",         "JSON lines",     "comma-separated values"};
  return names[static_cast<std::size_t>(kind)];
}

const char* findingName(FindingKind kind) {
  constexpr const char* names[] = {"contradiction", "damaged", "truncated", "missing-lines", "clock"};
  return names[static_cast<std::size_t>(kind)];
}

struct Sources::State {
  explicit State(Options given)
      : options(std::move(given)), complaints(options.complain ? options.complain : [](std::string_view) {}) {}

  Options options;
  Complaints complaints;
  Cancellation cancellation;
  std::vector<InputInfo> inputs;
  std::vector<Finding> findings; // of captures
  RecordsInOrder captured;
  std::map<std::size_t, formats::UnnamedFile> copies;   // of pipes
  std::map<std::size_t, std::unique_ptr<Input>> opened; // pipes whose first bytes have been read
  std::vector<bool> used;                               // pipes that a stream has taken

  bool copy(std::size_t number);
  void readSmall(std::size_t number, Input& input, ReportLines& lines);
  Kind recogniseOpen(std::size_t number, Input& input);
  void tellFindings(const std::vector<Finding>& found);
  void take(ReportLines& lines);
  std::unique_ptr<Input> openInput(std::size_t number);
  std::optional<ClockRelation> clockOf(std::size_t number) const;
};

// Sets kind and clock relations from the beginning of an open input.
Kind Sources::State::recogniseOpen(std::size_t number, Input& input) {
  InputInfo& info = inputs[number];
  // One record, or what a pipe holds, is enough to recognise most kinds.
  std::string_view head = input.peek(recordSize);
  if (info.size != 0) {
    head = input.peek(std::min<std::uint64_t>(info.size, recognisedHead));
  }
  const bool whole = info.size != 0 && head.size() >= info.size;
  // If reading fails, what came before the failure is still shown.
  const Recognised recognised = input.hasFailed() && head.empty()
                                    ? Recognised{}
                                    : recognise(head, whole, info.size != 0 ? std::optional(info.size) : std::nullopt);
  info.kind = recognised.kind;
  if (options.noRaw && info.kind == Kind::records && head.starts_with(stateRecordBeginning)) {
    info.kind = Kind::stateRecord;
  }
  if (!recognised.refusal.empty()) {
    complaints.say(fmt::format("{}: refused: {}", info.name, recognised.refusal));
  }
  if (hasRecords(info.kind) && info.kind != Kind::records) {
    ParsedLines front;
    makeLineFormat(info.kind, {})->read(head, false, front);
    info.capture.clocks = front.clocks.relations();
  }
  return info.kind;
}

void Sources::State::readSmall(std::size_t number, Input& input, ReportLines& lines) {
  InputInfo& info = inputs[number];
  try {
    const std::string content = readAll(input);
    if (input.hasFailed()) { // and has reported it
      info.kind = Kind::unknown;
      return;
    }
    info.capture.reports.push_back(readReport(info.kind, content, info.name, options.anyList));
    lines.add(static_cast<std::uint32_t>(number), info.name, info.capture);
  } catch (const formats::Error& error) {
    complaints.say(error.what());
    info.kind = Kind::unknown;
  }
}

std::unique_ptr<Input> Sources::State::openInput(std::size_t number) {
  if (const auto found = opened.find(number); found != opened.end()) {
    return std::exchange(found->second, nullptr);
  }
  auto input = std::make_unique<Input>(complaints, cancellation, options.watchedOutput);
  const auto copy = copies.find(number);
  const std::string path =
      copy == copies.end() ? inputs[number].path : fmt::format("/proc/self/fd/{}", copy->second.descriptor());
  return input->open(path, inputs[number].name) ? std::move(input) : nullptr;
}

// Copies an input into a temporary file; false if the input cannot be opened.
bool Sources::State::copy(std::size_t number) {
  Input input(complaints, cancellation, options.watchedOutput);
  if (!input.open(inputs[number].path)) {
    return false;
  }
  formats::UnnamedFile file;
  std::vector<std::byte> block(std::size_t{1} << 16);
  while (const std::size_t got = input.read(reinterpret_cast<unsigned char*>(block.data()), block.size())) {
    file.write(std::span(block).first(got));
    inputs[number].size += got;
  }
  copies.emplace(number, std::move(file));
  return true;
}

std::optional<ClockRelation> Sources::State::clockOf(std::size_t number) const {
  const auto& clocks = inputs[number].capture.clocks;
  return clocks.empty() ? std::nullopt : std::optional(clocks.front());
}

// Contradictions and damage are errors. Other findings, such as cut lines, are only remarks: they are usual in logs.
void Sources::State::tellFindings(const std::vector<Finding>& found) {
  if (!options.tellFindings) {
    return;
  }
  for (const Finding& finding : found) {
    if (finding.kind == FindingKind::contradiction || finding.kind == FindingKind::damaged) {
      complaints.say(finding.text);
    } else {
      complaints.remark(finding.text);
    }
  }
}

// Takes over the lines of all captures: reports their findings and puts the records in order.
void Sources::State::take(ReportLines& lines) {
  tellFindings(lines.findings);
  findings = std::move(lines.findings);
  captured = putInOrder(std::move(lines.records), lines.logs, options.all);
  complaints.flush();
}

Sources::Sources(const std::vector<std::string>& names, Options options)
    : state_(std::make_unique<State>(std::move(options))) {
  State& state = *state_;
  ReportLines lines;
  for (std::size_t i = 0; i < names.size(); ++i) {
    InputInfo& info = state.inputs.emplace_back();
    info.path = names[i];
    info.name = formats::inputName(names[i]);
  }
  state.used.resize(names.size());
  for (std::size_t i = 0; i < names.size(); ++i) {
    InputInfo& info = state.inputs[i];
    struct stat status = {};
    const bool standardInput = info.path == "-";
    const bool known = (standardInput ? fstat(0, &status) : stat(info.path.c_str(), &status)) == 0;
    if (known && S_ISDIR(status.st_mode)) {
      try {
        info.capture = readCaptureFolder(info.path, state.complaints);
        info.kind = Kind::capture;
        lines.add(static_cast<std::uint32_t>(i), info.name, info.capture);
      } catch (const formats::Error& error) {
        state.complaints.say(error.what());
      }
      continue;
    }
    bool regular = known && S_ISREG(status.st_mode) && !standardInput;
    if (known && !regular && state.options.copies) {
      if (!state.copy(i)) {
        continue;
      }
      regular = true;
    } else {
      info.size = known && S_ISREG(status.st_mode) ? static_cast<std::uint64_t>(status.st_size) : 0;
    }
    if (known && !S_ISREG(status.st_mode) && !regular && !state.options.waits) {
      info.kind = Kind::waiting;
      continue;
    }
    std::unique_ptr<Input> input = state.openInput(i);
    if (input == nullptr) {
      continue;
    }
    if (isSmall(state.recogniseOpen(i, *input))) {
      state.readSmall(i, *input, lines);
    } else if (hasRecords(info.kind) && !regular) {
      state.opened[i] = std::move(input);
    }
  }
  state.take(lines);
}

Sources::Sources(const std::string& name, Capture capture, Options options)
    : state_(std::make_unique<State>(std::move(options))) {
  InputInfo& info = state_->inputs.emplace_back();
  info.name = info.path = name;
  info.kind = Kind::capture;
  info.capture = std::move(capture);
  state_->used.resize(1);
  ReportLines lines;
  lines.add(0, info.name, info.capture);
  state_->take(lines);
}

Sources::~Sources() = default;

const std::vector<InputInfo>& Sources::inputs() const {
  return state_->inputs;
}

const std::vector<Finding>& Sources::findings() const {
  return state_->findings;
}

bool Sources::isSound() const {
  return !state_->complaints.any();
}

namespace {

class AllRecords final : public RecordStream {
public:
  explicit AllRecords(Sources::State& state)
      : sources_(state), state_{state.options, state.complaints, state.cancellation, {}, {}} {}

  ~AllRecords() override { state_.complaints.flush(); }
  AllRecords(const AllRecords&) = delete;
  AllRecords& operator=(const AllRecords&) = delete;

  std::size_t read(std::span<unsigned char> out, std::span<Details> details) override {
    for (;;) {
      if (part_ == nullptr && !nextPart()) {
        state_.complaints.flush();
        return 0;
      }
      const std::size_t count = part_->read(out, details);
      state_.complaints.flush();
      if (count != 0) {
        return count;
      }
      bytesBefore_ += part_->bytesRead();
      part_.reset();
    }
  }

  const std::vector<Finding>& findings() const override { return state_.findings; }
  const std::vector<Run>& runs() const override { return state_.runs; }
  std::uint64_t bytesRead() const override { return bytesBefore_ + (part_ == nullptr ? 0 : part_->bytesRead()); }
  void cancel() noexcept override { state_.cancellation.cancel(); }

private:
  bool nextPart() {
    while (part_ == nullptr && next_ < sources_.inputs.size()) {
      begin(next_++);
    }
    return part_ != nullptr;
  }

  void begin(std::size_t number) {
    const Kind kind = sources_.inputs[number].kind;
    if (kind == Kind::unknown) {
      return;
    }
    if (isSmall(kind)) {
      if (!hasShownCaptured_ && !sources_.used[number]) {
        hasShownCaptured_ = true;
        part_ = makeCapturedPart(sources_.captured, state_);
      }
      return;
    }
    const bool waited = kind == Kind::waiting;
    if (waited || sources_.opened.contains(number)) {
      if (sources_.used[number]) {
        throw formats::Error(fmt::format("{}: can be read only once", sources_.inputs[number].name));
      }
      sources_.used[number] = true;
    }
    std::unique_ptr<Input> input = sources_.openInput(number);
    if (input == nullptr) {
      sources_.inputs[number].kind = Kind::unknown;
      return;
    }
    makePart(number, waited ? sources_.recogniseOpen(number, *input) : kind, std::move(input));
  }

  void makePart(std::size_t number, Kind kind, std::unique_ptr<Input> input) {
    const auto place = static_cast<std::uint32_t>(number);
    if (kind == Kind::records) {
      part_ = makeRawPart(std::move(input), place, state_);
    } else if (hasRecords(kind)) {
      part_ = makeLinePart(std::move(input), place, kind, sources_.clockOf(number), state_);
    } else if (isSmall(kind)) {
      // From a pipe that was not waited for: its records are not merged with those of other captures.
      ReportLines lines;
      sources_.readSmall(number, *input, lines);
      sources_.tellFindings(lines.findings);
      late_ = putInOrder(std::move(lines.records), lines.logs, sources_.options.all);
      part_ = makeCapturedPart(late_, state_);
    }
  }

  Sources::State& sources_;
  StreamState state_;
  RecordsInOrder late_;
  std::unique_ptr<Part> part_;
  std::size_t next_ = 0;
  std::uint64_t bytesBefore_ = 0;
  bool hasShownCaptured_ = false;
};

} // namespace

std::unique_ptr<RecordStream> Sources::records() {
  return std::make_unique<AllRecords>(*state_);
}

} // namespace vel::sources
