// Writes a document of the Trace Event Format piece by piece.
#pragma once

#include <sources/output_buffer.h>

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace vel::stat {

// A row of the viewer. Processes are groups of rows.
struct Track {
  std::uint64_t process = 0;
  std::uint64_t thread = 0;
};

// Text of any encoding as a JSON string.
std::string jsonText(std::string_view text);

// Nothing is written before the first event. An event is begun, gets its name and its arguments, and is ended:
//
//   events.begin('i', track, time).name("restart");
//   events.beginArguments().append("\"missing\":7");
//   events.end();
class EventWriter {
public:
  explicit EventWriter(std::function<void(std::string_view block)> write) : write_(std::move(write)) {}

  // The format's letters: X slice, i instant, C counter, s t f flow.
  EventWriter& begin(char phase, Track track, std::uint64_t time);
  EventWriter& duration(std::uint64_t microseconds);
  // The text must be printable ASCII without quotes and backslashes, such as the decoder's names.
  EventWriter& name(std::string_view text);
  EventWriter& jsonName(std::string_view quoted);
  // What an instant applies to: t its track, p its process, g everything.
  EventWriter& scope(char scope);
  // One of the format's names: "terrible" is red.
  EventWriter& colour(std::string_view name);
  EventWriter& flowId(std::uint64_t id);
  // For members of the event itself, each with a comma before it.
  sources::OutputBuffer& room() { return out_; }
  // For members of the event's arguments.
  sources::OutputBuffer& beginArguments();
  void end();

  void nameProcess(std::uint64_t process, std::string_view text);
  void nameThread(Track track, std::string_view text);

  bool hasEvents() const { return hasEvents_; } // other than names of processes and threads
  // The rest of the document; `otherData` is the content of an object.
  void finish(std::string_view otherData);

private:
  void beginAny(std::string_view phase, Track track);
  void metadata(std::string_view kind, Track track, std::string_view key, std::string_view value);
  void number(std::string_view key, std::uint64_t value);

  std::function<void(std::string_view)> write_;
  sources::OutputBuffer out_;
  bool begun_ = false;
  bool hasEvents_ = false;
  bool hasArguments_ = false;
};

} // namespace vel::stat
