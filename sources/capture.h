// The small part of an input as one value: everything that a capture says about a device except the records.
#pragma once

#include <control/tally.h>
#include <formats/value.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vel::sources {

// The result of registering one service.
struct Service {
  std::string name;
  std::vector<std::pair<std::uint32_t, std::uint32_t>> usages; // page and usage
  bool opened = false;                                         // the plug-in opened an interface of it
  std::size_t firstHandler = 0;                                // from 1; 0: it has none
  std::size_t handlers = 0;
  std::size_t logLines = 0; // written while it was registered
};

// One state handler, asked once.
struct Handler {
  std::size_t number = 0;              // from 1
  std::string service;                 // that it belongs to; empty: unknown
  bool answered = false;               // it returned a record
  std::optional<std::uint32_t> result; // the code in its log lines, if it returned nothing
  std::string resultText;              // the same in words, or why there is no code; empty if it answered
};

// One state record, or one property list. Lines of profile records are in its value, and in the stream of records.
struct Report {
  bool hasHeader = false; // it is a state record; else a property list, without the next three
  std::string title;
  std::string decoderLibrary;
  std::string decoderType;
  std::string file;        // path
  std::uint64_t size = 0;  // of the file
  std::size_t handler = 0; // that returned it; 0: not known
  formats::Value value;
};

struct LogEntry {
  std::string time; // UTC, as in the file: 2026-11-21T21:01:35.861772Z
  std::string level;
  std::string subsystem;
  std::string category;
  std::string message;
  std::uint64_t count = 1; // of equal lines; more than one only for a capture in memory, which has no times then
};

using Metric = control::TallyRow;

// The relation between the co-processor's clock and the calendar that lines show: calendar = VEL time + offset, in
// microseconds; calendar times count from 1970. Lines give local time without a year: it is the year of the boot time
// or a later one.
struct ClockRelation {
  std::int64_t offset = 0;
  std::optional<std::uint64_t> boot; // of the host, in microseconds since 1970
  std::uint64_t lines = 0;           // that have this relation

  bool operator==(const ClockRelation& other) const { return offset == other.offset && boot == other.boot; }
};

struct Capture {
  std::string version; // of the command that made it; empty, like the other texts: unknown
  std::string device;
  std::string deviceId; // which device it is, and which firmware and hardware it has; empty: unknown
  std::string build;
  std::string lot;
  std::string model;
  std::string plugIn;
  std::uint32_t api = 0;
  std::vector<Service> services;
  std::vector<Handler> handlers;
  std::vector<Report> reports; // in the order of the capture
  std::vector<LogEntry> log;
  std::vector<Metric> metrics;
  // The relations of its lines, the most common first; more than one is a contradiction. Of a stream of lines, those of
  // its beginning.
  std::vector<ClockRelation> clocks;
};

} // namespace vel::sources
