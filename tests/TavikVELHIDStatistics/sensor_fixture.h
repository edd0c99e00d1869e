// A sensor whose replies the test sets, and its report.
#pragma once

#include "support/statistics_fixture.h"

#include <map>

namespace vel::test {

template <class... Numbers>
Bytes words(Numbers... numbers) {
  return (Bytes{} + ... + le(static_cast<std::uint32_t>(numbers)));
}

inline formats::Value string(const std::string& text) {
  return {text};
}
inline formats::Value integer(std::int64_t value) {
  return {value};
}

// An entry in the list of clients.
struct Client {
  std::string name;
  std::int32_t report = 0;
  std::int32_t batch = 0;
  std::uint32_t threshold = 0;
  std::uint32_t limit = 0;
  std::uint8_t active = 1;
};
Bytes entry(const Client& client);

// A reply for every property, with different numbers in each, and the report of them all: with the counters of
// SensorTest::addCounters and the clients that it starts with.
std::map<std::uint32_t, Reply> allReplies();
formats::Dictionary reportOfAllReplies();

struct SensorTest : StatisticsTest {
  SensorTest();
  ~SensorTest() override; // nothing but the contexts holds on to the registry

  // A sensor with a user client below its driver; from now on the one that is asked. Nothing has been asked of it yet.
  void addSensor();
  // "_num_events" 5 and "EnqueueEventCount" 6.
  void addCounters() const;

  control::StateRecord ask(std::uint32_t api = 3) const { return StatisticsTest::ask(handler, api); }
  // The report; an empty dictionary if there is none.
  formats::Value report() const;
  // The keys of the report that begin like this, with their texts.
  using Texts = std::vector<std::pair<std::string, std::string>>;
  Texts textsOf(const std::string& prefix) const;

  std::map<std::uint32_t, Reply> replies = allReplies();
  Reply clients = {entry({.name = "first", .active = 0}) +
                   entry({.name = "second", .report = 1, .batch = -2, .threshold = 3, .limit = 0xFFFFFFFF})};
  std::uint64_t clientID = 0;
  std::size_t handler = 0;
  std::size_t references = 0; // those of the contexts
};

} // namespace vel::test
