// The exported function on many threads at once, with a time-sync service to ask.
#include "profile/profile_description.h"
#include "sample_records.h"
#include <control/cf.h>
#include <control/clock.h>
#include <control/registry.h>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

using vel::control::Ref;

void set_number(CFMutableDictionaryRef dictionary, CFStringRef key, long long value) {
  const auto number = Ref<CFNumberRef>::adopt(CFNumberCreate(kCFAllocatorDefault, kCFNumberLongLongType, &value));
  CFDictionarySetValue(dictionary, key, number.get());
}

Ref<CFMutableDictionaryRef> make_dictionary() {
  return Ref<CFMutableDictionaryRef>::adopt(CFDictionaryCreateMutable(
      kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
}

std::string description(const Record& record) {
  const auto text = Ref<CFStringRef>::adopt(CopyProfileDescription(&record.report()));
  return text ? vel::control::utf8(text.get()) : "(null)";
}

TEST(EdgeThreads, EightDescribeTheSameRecordsAtOnce) {
  const auto clocks = make_dictionary();
  set_number(clocks.get(), CFSTR("vel"), 5'000'000'000);
  set_number(clocks.get(), CFSTR("calendar"), 1'700'000'000'000'000'000);
  const auto properties = make_dictionary();
  CFDictionarySetValue(properties.get(), CFSTR("timesync"), clocks.get());
  vel::control::RegistryEntry service;
  service.className = "TavikVELTimesync";
  service.properties = Ref<CFDictionaryRef>::share(properties.get());
  vel::control::addRegistryEntry(std::move(service));
  vel::control::setBootTime(1'700'000'000'000'001);

  RandomRecords random(17);
  std::vector<Record> records;
  std::vector<std::string> expected;
  for (std::size_t i = 0; i < 200; ++i) {
    records.push_back(random.next());
    expected.push_back(description(records.back()));
  }
  std::atomic<unsigned> differences = 0;
  std::vector<std::thread> threads;
  for (std::size_t thread = 0; thread < 8; ++thread) {
    threads.emplace_back([&, thread] {
      for (std::size_t step = 0; step < records.size(); ++step) {
        const std::size_t i = (step + thread * 23) % records.size();
        differences += description(records[i]) != expected[i];
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(differences, 0U);
  EXPECT_EQ(std::count_if(expected.begin(), expected.end(),
                          [](const std::string& text) { return text.find("'calendar-time'") != std::string::npos; }),
            std::count_if(expected.begin(), expected.end(),
                          [](const std::string& text) { return text.find("'boot-timestamp'") != std::string::npos; }));
  EXPECT_EQ(vel::control::registryReferences(), 0U);
  vel::control::resetRegistry();
  vel::control::setBootTime(std::nullopt);
}

} // namespace
