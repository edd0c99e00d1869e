// Writes one event per line.
#include "velstat/trace/event_writer.h"

#include <velstat/text/json_writer.h>

#include <fmt/format.h>

namespace vel::stat {

namespace {

constexpr std::size_t blockSize = std::size_t{64} << 10;

} // namespace

std::string jsonText(std::string_view text) {
  StringSink sink;
  JsonWriter(sink, JsonWriter::Form::oneLine).string(text);
  return sink.take();
}

void EventWriter::number(std::string_view key, std::uint64_t value) {
  out_.append(key);
  out_.appendNumber(value);
}

void EventWriter::beginAny(std::string_view phase, Track track) {
  out_.append(begun_ ? ",\n{\"ph\":\"" : "{\"displayTimeUnit\":\"ms\",\"traceEvents\":[\n{\"ph\":\"");
  begun_ = true;
  out_.append(phase);
  number("\",\"pid\":", track.process);
  number(",\"tid\":", track.thread);
}

EventWriter& EventWriter::begin(char phase, Track track, std::uint64_t time) {
  beginAny({&phase, 1}, track);
  number(",\"ts\":", time);
  hasEvents_ = true;
  hasArguments_ = false;
  return *this;
}

EventWriter& EventWriter::duration(std::uint64_t microseconds) {
  number(",\"dur\":", microseconds);
  return *this;
}

EventWriter& EventWriter::name(std::string_view text) {
  out_.append(",\"name\":\"");
  out_.append(text);
  out_.append('"');
  return *this;
}

EventWriter& EventWriter::jsonName(std::string_view quoted) {
  out_.append(",\"name\":");
  out_.append(quoted);
  return *this;
}

EventWriter& EventWriter::scope(char scope) {
  out_.append(",\"s\":\"");
  out_.append(scope);
  out_.append('"');
  return *this;
}

EventWriter& EventWriter::colour(std::string_view name) {
  out_.append(",\"cname\":\"");
  out_.append(name);
  out_.append('"');
  return *this;
}

// Flows have their own category; the end of a flow is bound to the slice around it.
EventWriter& EventWriter::flowId(std::uint64_t id) {
  number(",\"cat\":\"flow\",\"bp\":\"e\",\"id\":", id);
  return *this;
}

sources::OutputBuffer& EventWriter::beginArguments() {
  out_.append(",\"args\":{");
  hasArguments_ = true;
  return out_;
}

void EventWriter::end() {
  out_.append(hasArguments_ ? "}}" : "}");
  if (out_.view().size() >= blockSize) {
    write_(out_.view());
    out_.clear();
  }
}

void EventWriter::metadata(std::string_view kind, Track track, std::string_view key, std::string_view value) {
  beginAny("M", track);
  out_.append(fmt::format(",\"name\":\"{}\",\"args\":{{\"{}\":{}}}}}", kind, key, value));
}

void EventWriter::nameProcess(std::uint64_t process, std::string_view text) {
  metadata("process_name", {process, 0}, "name", jsonText(text));
  metadata("process_sort_index", {process, 0}, "sort_index", std::to_string(process));
}

void EventWriter::nameThread(Track track, std::string_view text) {
  metadata("thread_name", track, "name", jsonText(text));
  metadata("thread_sort_index", track, "sort_index", std::to_string(track.thread));
}

void EventWriter::finish(std::string_view otherData) {
  out_.append("\n],\"otherData\":{");
  out_.append(otherData);
  out_.append("}}\n");
  write_(out_.view());
  out_.clear();
}

} // namespace vel::stat
