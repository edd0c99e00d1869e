// The entry point for code that examines a device later: reads captures, state records, property lists, raw records,
// logs and the output of `velstat decode`, recognised by content. docs/sources.md describes the rules to users.
//
//   Sources sources({"good", "log.txt"}, options);
//   sources.inputs()[0].capture.reports…             the small part
//   const auto records = sources.records();          the large part, any number of times
//   while (const std::size_t count = records->read(room, details)) …
#pragma once

#include <sources/capture.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vel::sources {

enum class Kind : std::uint8_t {
  unknown,      // cannot be read or was refused, as reported to `complain`
  waiting,      // a pipe that is not recognised before its turn
  records,      // raw, 48 bytes each
  capture,      // a folder written by `velstat capture --out`
  stateRecord,  // header and binary property list
  propertyList, // binary or XML
  lines,        // text with lines of records
  jsonLines,    // as `velstat decode` writes them
  csvLines,
};
// "raw records", "a capture folder" and so on.
const char* kindName(Kind kind);

struct Options {
  bool all = false;         // every occurrence of a record, in the order of the input
  bool recover = false;     // search raw records for damage
  bool anyList = false;     // take property lists of any content
  bool noRaw = false;       // treat input that begins like a state record as one, even if it is damaged
  bool tellFindings = true; // also report findings to `complain`; otherwise they are only in findings()
  bool copies = false;      // copy pipes into temporary files, so that their records can be read more than once
  bool waits = true;        // wait for the first bytes of pipes, to recognise them at once
  unsigned jobs = 1;        // threads that read lines
  int watchedOutput = -1;   // OutputClosed is thrown once its reader has closed it; -1: none
  // Receives each error in an input as one line; the work continues. [the calling thread]
  std::function<void(std::string_view line)> complain;
};

struct InputInfo {
  std::string name; // in messages
  std::string path; // as it was given
  Kind kind = Kind::unknown;
  std::uint64_t size = 0; // in bytes; 0 if it has none
  Capture capture;        // empty for raw records
};

// Where a record came from.
struct Location {
  static constexpr std::uint32_t noReport = 0xffffffff;

  std::uint32_t input = 0;         // of Sources::inputs()
  std::uint32_t report = noReport; // of the input's capture
  std::uint64_t at = 0;            // in a report the number of its line, from 0; otherwise the offset in bytes

  bool operator==(const Location&) const = default;
};

// What is known about a record in addition to its bytes.
struct Details {
  Location location;
  std::uint32_t run = 0;                 // of RecordStream::runs()
  std::uint32_t missing = 0;             // sequence numbers left out just before it
  std::optional<std::uint64_t> calendar; // microseconds since 1970
};

// Records whose sequence numbers go on: a log between two restarts.
struct Run {
  enum class Start : std::uint8_t {
    first,     // the first of its log
    restarted, // sequence numbers started again
    clockBack, // the clock went back and sequence numbers went on
  };

  std::uint32_t input = 0; // of its first record
  std::string log;         // "fw", "kext" or "err" if a title names it
  Start start = Start::first;
  std::uint64_t firstTime = 0;
  std::uint64_t lastTime = 0;
  std::uint32_t firstSequence = 0;
  std::uint32_t lastSequence = 0;
  std::uint64_t records = 0;
  std::uint64_t gaps = 0;    // places where numbers were left out
  std::uint64_t missing = 0; // numbers that were left out
};

enum class FindingKind : std::uint8_t {
  contradiction, // a line's words contradict its bytes, which win
  damaged,       // a line's dump cannot be read: no record
  truncated,     // `count` lines were cut before their bytes: no records
  missingLines,  // a title counts `count` more records than there are lines
  clock,         // lines disagree on the relation between the clocks
};
const char* findingName(FindingKind kind);

struct Finding {
  FindingKind kind = FindingKind::damaged;
  Location location;
  std::uint64_t count = 1;
  std::string text; // one line, with the name of its input
};

// The records of all inputs. Those of captures, state records and property lists are merged in order, each record once,
// and come at the place of the first such input; the records of other inputs are unchanged. Memory is constant, except
// for captures, which take about 150 bytes per record. [one thread at a time]
class RecordStream {
public:
  virtual ~RecordStream() = default;

  // Fills `out`, which has room for at least one record, with records of 48 bytes and returns their number. Only 0
  // means the end. If `details` is not empty, it has an element for each record that fits, and is filled too.
  virtual std::size_t read(std::span<unsigned char> out, std::span<Details> details = {}) = 0;

  // The findings in what has been read so far, up to a limit. [borrowed: until the next read]
  virtual const std::vector<Finding>& findings() const = 0;
  // The runs of the records that have been read with details. [borrowed: until the next read]
  virtual const std::vector<Run>& runs() const = 0;
  virtual std::uint64_t bytesRead() const = 0;

  // Makes a waiting read, and all later ones that would wait, throw. [any thread]
  virtual void cancel() noexcept = 0;
};

class Sources {
public:
  // Recognises all inputs ("-" is standard input), and reads captures, state records and property lists. Inputs that
  // are refused are reported to `complain` and left out.
  Sources(const std::vector<std::string>& names, Options options);
  // The only input is a capture in memory.
  Sources(const std::string& name, Capture capture, Options options);
  ~Sources();
  Sources(const Sources&) = delete;
  Sources& operator=(const Sources&) = delete;

  // One for each name, in order.
  const std::vector<InputInfo>& inputs() const;
  // The findings of all captures, state records and property lists.
  const std::vector<Finding>& findings() const;
  // False if any error was reported, also by the streams.
  bool isSound() const;

  // A stream from the beginning; this object must outlive it. A pipe can be read only once: the next stream throws
  // formats::Error. Streams of the same object must be read one at a time.
  std::unique_ptr<RecordStream> records();

  struct State;

private:
  std::unique_ptr<State> state_;
};

} // namespace vel::sources
