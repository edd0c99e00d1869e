// The decoder's OS edge on the platform: both times, and the exported functions.
#include "process_locale.h"
#include "profile/profile_description.h"
#include "profile/render.h"
#include "record.h"
#include "support/naive_profile.h"
#include <control/calls.h>
#include <control/cf.h>
#include <control/clock.h>
#include <control/registry.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

namespace {

using namespace std::string_literals;
using testing::EndsWith;
using vel::control::Ref;

using Dictionary = Ref<CFMutableDictionaryRef>;

Dictionary make_dictionary() {
  return Dictionary::adopt(CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                                     &kCFTypeDictionaryValueCallBacks));
}

void set_number(const Dictionary& dictionary, CFStringRef key, long long value) {
  const auto number = Ref<CFNumberRef>::adopt(CFNumberCreate(kCFAllocatorDefault, kCFNumberLongLongType, &value));
  CFDictionarySetValue(dictionary.get(), key, number.get());
}

class Edge : public testing::Test {
protected:
  Edge() {
    setenv("TZ", "VST-5:30", 1);
    tzset();
    vel::control::setBootTime(1'700'000'000'000'001);
  }
  ~Edge() override {
    vel::control::clearFailures();
    vel::control::resetRegistry();
    vel::control::setBootTime(std::nullopt);
    unsetenv("TZ");
    tzset();
  }

  // Adds the time-sync service, with `value` as its property; null for none.
  static std::uint64_t add_timesync(CFTypeRef value) {
    const Dictionary properties = make_dictionary();
    if (value != nullptr) {
      CFDictionarySetValue(properties.get(), CFSTR("timesync"), value);
    }
    vel::control::RegistryEntry entry;
    entry.name = "timesync";
    entry.className = "TavikVELTimesync";
    entry.properties = Ref<CFDictionaryRef>::share(properties.get());
    return vel::control::addRegistryEntry(std::move(entry));
  }
  static Dictionary clocks(long long vel, long long calendar) {
    const Dictionary dictionary = make_dictionary();
    set_number(dictionary, CFSTR("vel"), vel);
    set_number(dictionary, CFSTR("calendar"), calendar);
    return dictionary;
  }
  static std::string times_of(const Record& record) {
    const std::string text = text_of(record);
    return text.substr(text.find(']'));
  }
};

TEST_F(Edge, BothTimes_EndTheText) {
  add_timesync(clocks(5'000'000'000, 1'700'000'000'123'456'789).get());
  EXPECT_EQ(times_of(Record(2, 0, 0, 0).timestamp(5'000'000)),
            "], 'calendar-time':'Nov 15 03:43:20.123456', 'boot-timestamp':1700000000000001}");
}

TEST_F(Edge, MonthsFollowTheLocale_AlsoInBulk) {
  const vel::profile::TimeSync sync = {0, 1'700'000'000'000'000'000};
  add_timesync(clocks(sync.vel, sync.calendar).get());
  for (const char* name : {"POSIX", "de_DE", "bn_BD"}) {
    const ProcessLocale locale(name);
    vel::profile::BulkRenderer bulk({sync, 1'700'000'000'000'001}, vel::profile::Framing::none);
    for (std::uint64_t month = 0; month < 24; ++month) {
      const std::uint64_t timestamp = month * 2'629'746'000'001;
      const Record record = Record(2, 0, 0, 0).timestamp(timestamp);
      EXPECT_EQ(times_of(record), "], 'calendar-time':'" + naive::wall_time(timestamp, sync.vel, sync.calendar) +
                                      "', 'boot-timestamp':1700000000000001}")
          << name;
      char text[vel::profile::frame_capacity];
      EXPECT_EQ(std::string(text, bulk.render(record.bytes, 1, text)), text_of(record)) << name;
    }
  }
}

TEST_F(Edge, StampThatOverflows_WrapsAround) {
  add_timesync(clocks(0, 0).get());
  EXPECT_EQ(times_of(Record(2, 0, 0, 0).timestamp(18446744073709552)),
            "], 'calendar-time':'Jan 01 05:30:00.000000', 'boot-timestamp':1700000000000001}");
}

TEST_F(Edge, NothingIsCached) {
  const std::uint64_t id = add_timesync(clocks(0, 0).get());
  EXPECT_THAT(times_of(Record(2, 0, 0, 0)), testing::HasSubstr("'Jan 01 05:30:00.000000'"));
  const Dictionary properties = make_dictionary();
  CFDictionarySetValue(properties.get(), CFSTR("timesync"), clocks(0, 86'400'000'000'000).get());
  vel::control::setRegistryProperties(id, Ref<CFDictionaryRef>::share(properties.get()));
  EXPECT_THAT(times_of(Record(2, 0, 0, 0)), testing::HasSubstr("'Jan 02 05:30:00.000000'"));
}

TEST_F(Edge, BootTimeThatCannotBeRead_IsLeftOut) {
  add_timesync(clocks(0, 0).get());
  vel::control::failCall("sysctl", 1);
  EXPECT_EQ(times_of(Record(2, 0, 0, 0)), "], 'calendar-time':'Jan 01 05:30:00.000000'}");
  ASSERT_TRUE(vel::control::clearFailures());

  unsigned long long boot = 17;
  vel::control::failCall("sysctl", 1);
  EXPECT_FALSE(KIPLogDecoder::_default.get_boot_time(boot));
  EXPECT_EQ(boot, 17U);
}

TEST_F(Edge, NeitherTime_TextEndsWithTheDump) {
  vel::control::failCall("sysctl", 1);
  EXPECT_EQ(times_of(Record(2, 0, 0, 0)), "]}");
}

struct BrokenSync {
  const char* name;
  Ref<CFTypeRef> (*property)();
};

class BrokenTimesync : public Edge, public testing::WithParamInterface<BrokenSync> {
public:
  static Ref<CFTypeRef> none() { return {}; }
  static Ref<CFTypeRef> text() { return Ref<CFTypeRef>::share(CFSTR("soon")); }
  static Ref<CFTypeRef> without_vel() { return with(nullptr, CFSTR("calendar"), nullptr); }
  static Ref<CFTypeRef> without_calendar() { return with(CFSTR("vel"), nullptr, nullptr); }
  static Ref<CFTypeRef> vel_is_text() { return with(nullptr, CFSTR("calendar"), CFSTR("vel")); }
  static Ref<CFTypeRef> calendar_is_text() { return with(CFSTR("vel"), nullptr, CFSTR("calendar")); }

private:
  static Ref<CFTypeRef> with(CFStringRef number, CFStringRef other, CFStringRef text) {
    const Dictionary dictionary = make_dictionary();
    for (const CFStringRef key : {number, other}) {
      if (key != nullptr) {
        set_number(dictionary, key, 1);
      }
    }
    if (text != nullptr) {
      CFDictionarySetValue(dictionary.get(), text, CFSTR("1"));
    }
    return Ref<CFTypeRef>::share(dictionary.get());
  }
};

TEST_P(BrokenTimesync, IsAFailedConversion) {
  const auto objects = vel::control::liveObjects();
  add_timesync(GetParam().property().get());
  std::string out = "untouched";
  EXPECT_FALSE(KIPLogDecoder::_default.vel_time_to_wall_time(1, out));
  EXPECT_EQ(out, "untouched");
  EXPECT_EQ(times_of(Record(2, 0, 0, 0)), "], 'boot-timestamp':1700000000000001}");
  EXPECT_EQ(vel::control::registryReferences(), 0U);
  vel::control::resetRegistry();
  EXPECT_EQ(vel::control::liveObjects(), objects);
}

INSTANTIATE_TEST_SUITE_P(, BrokenTimesync,
                         testing::Values(BrokenSync{"NoProperty", BrokenTimesync::none},
                                         BrokenSync{"NoDictionary", BrokenTimesync::text},
                                         BrokenSync{"NoVel", BrokenTimesync::without_vel},
                                         BrokenSync{"NoCalendar", BrokenTimesync::without_calendar},
                                         BrokenSync{"VelIsText", BrokenTimesync::vel_is_text},
                                         BrokenSync{"CalendarIsText", BrokenTimesync::calendar_is_text}),
                         [](const auto& info) { return info.param.name; });

// Its names and its payload are lines of the recording.
class RecordedDecoder : public profile_decoder {
public:
  std::string event_name(unsigned, unsigned) override {
    vel::control::addToRecording("event_name");
    return "event";
  }
  void parse_datatype(std::stringstream& out, const _VelProfileReport& report) override {
    vel::control::addToRecording("parse_datatype");
    profile_decoder::parse_datatype(out, report);
  }
};

TEST_F(Edge, NamesThenWallTimeThenBootTimeThenPayload) {
  add_timesync(clocks(5, 7).get());
  const auto objects = vel::control::liveObjects();
  RecordedDecoder decoder;
  const Record record(2, 0, 0, 0);
  vel::control::startRecording(vel::control::Recording::everything);
  decoder.to_string(record.report());
  EXPECT_THAT(vel::control::stopRecording(),
              testing::ElementsAre("event_name", "IOServiceMatching(TavikVELTimesync)",
                                   "IOServiceGetMatchingService(IOProviderClass=TavikVELTimesync)",
                                   "IORegistryEntryCreateCFProperty(timesync, timesync, default)",
                                   "CFNumberGetValue(5, 11)", "CFNumberGetValue(7, 11)", "CFRelease(CFDictionary)",
                                   "IOObjectRelease(timesync)", "sysctl(kern.boottime)", "parse_datatype"));
  EXPECT_EQ(vel::control::registryReferences(), 0U);
  EXPECT_EQ(vel::control::liveObjects(), objects);
}

TEST_F(Edge, WithoutATimesyncService_NothingIsReleased) {
  std::string wall;
  vel::control::startRecording(vel::control::Recording::everything);
  EXPECT_FALSE(KIPLogDecoder::_default.vel_time_to_wall_time(0, wall));
  EXPECT_THAT(vel::control::stopRecording(),
              testing::ElementsAre("IOServiceMatching(TavikVELTimesync)",
                                   "IOServiceGetMatchingService(IOProviderClass=TavikVELTimesync)"));
}

struct FailingCall {
  const char* function;
  const char* end; // of the text
};

class PlatformFailure : public Edge, public testing::WithParamInterface<FailingCall> {};

TEST_P(PlatformFailure, LeavesOutWhatItCosts) {
  add_timesync(clocks(0, 0).get());
  const auto objects = vel::control::liveObjects();
  vel::control::failCall(GetParam().function, 1);
  EXPECT_EQ(times_of(Record(2, 0, 0, 0)), GetParam().end);
  EXPECT_TRUE(vel::control::clearFailures());
  EXPECT_EQ(vel::control::registryReferences(), 0U);
  EXPECT_EQ(vel::control::liveObjects(), objects);
}

INSTANTIATE_TEST_SUITE_P(
    , PlatformFailure,
    testing::Values(FailingCall{"IOServiceMatching", "], 'boot-timestamp':1700000000000001}"},
                    FailingCall{"IOServiceGetMatchingService", "], 'boot-timestamp':1700000000000001}"},
                    FailingCall{"IORegistryEntryCreateCFProperty", "], 'boot-timestamp':1700000000000001}"},
                    FailingCall{"sysctl", "], 'calendar-time':'Jan 01 05:30:00.000000'}"}),
    [](const auto& info) { return info.param.function; });

TEST_F(Edge, StringThatCannotBeMade_IsNull) {
  const Record record(2, 0, 0, 0);
  vel::control::failCall("CFStringCreateWithCString", 1);
  EXPECT_EQ(CopyProfileDescription(&record.report()), nullptr);
  EXPECT_TRUE(vel::control::clearFailures());
}

TEST_F(Edge, CopyProfileDescription_IsTheText) {
  const Record record = Record(7, 0, 2, 2).counting(1);
  const auto description = Ref<CFStringRef>::adopt(CopyProfileDescription(&record.report()));
  ASSERT_TRUE(description);
  EXPECT_EQ(vel::control::utf8(description.get()), text_of(record));
  EXPECT_EQ(vel::control::retainCount(description.get()), 1U);
}

TEST_F(Edge, CopyProfileDescription_EndsAtTheFirstNul) {
  const Record record(2, 0, 9, 8);
  const auto description = Ref<CFStringRef>::adopt(CopyProfileDescription(&record.report()));
  ASSERT_TRUE(description);
  EXPECT_THAT(vel::control::utf8(description.get()), EndsWith(" 'time-limit':         0, 'connected':         "));
}

TEST_F(Edge, CopyProfileDescription_IsNullForBytesThatAreNoText) {
  const Record record = Record(2, 0, 9, 8).text(35, "\xff");
  EXPECT_EQ(CopyProfileDescription(&record.report()), nullptr);
}

std::string printed(const Record& record) {
  testing::internal::CaptureStdout();
  vel_profile_print(&record.report());
  std::fflush(stdout);
  return testing::internal::GetCapturedStdout();
}

TEST_F(Edge, Print_WritesTheTextAndANewline) {
  const Record record(0, 0, 0, 4);
  EXPECT_EQ(printed(record), text_of(record) + "\n");
}

const Record not_ascii = Record(2, 0, 9, 8).u8(32, '1').u8(33, '2').u8(34, '3').text(35, "Br\xc3\xbc\x63ke");

TEST_F(Edge, Print_WithoutADirectPointer_CopiesTheText) {
  EXPECT_EQ(printed(not_ascii), text_of(not_ascii) + "\n");
  EXPECT_THAT(printed(not_ascii), testing::HasSubstr("'Br\xc3\xbc\x63ke'"));
}

TEST_F(Edge, Print_WithoutAString_WritesNothing) {
  EXPECT_EQ(printed(Record(2, 0, 9, 8).text(35, "\xff")), "");
}

// What is called to print a record, its own strings shortened to "text".
std::vector<std::string> calls_to_print(const Record& record) {
  const std::string text = text_of(record);
  vel::control::startRecording(vel::control::Recording::everything);
  printed(record);
  std::vector<std::string> calls = vel::control::stopRecording();
  std::erase_if(calls, [](const std::string& call) { return call.starts_with("IO") || call.starts_with("sysctl"); });
  for (std::string& call : calls) {
    if (const std::size_t found = call.find(text); found != std::string::npos) {
      call.replace(found, text.size(), "text");
    }
  }
  return calls;
}

TEST_F(Edge, Print_AsksForADirectPointerInMacRomanAndReleasesTheString) {
  EXPECT_THAT(calls_to_print(Record(0, 0, 0, 4)),
              testing::ElementsAre("CFStringCreateWithCString(default, text, 0x8000100)", "CFStringGetCStringPtr(0)",
                                   "CFRelease(CFString)"));
  // Three bytes for each UTF-16 unit, of which the two bytes of the one other character are one, and the NUL.
  const std::size_t room = 3 * (text_of(not_ascii).size() - 1) + 1;
  EXPECT_THAT(calls_to_print(not_ascii),
              testing::ElementsAre("CFStringCreateWithCString(default, text, 0x8000100)", "CFStringGetCStringPtr(0)",
                                   "CFStringGetCString(" + std::to_string(room) + ", 0x8000100)",
                                   "CFRelease(CFString)"));
}

TEST_F(Edge, Print_WhenTheDirectPointerFails_CopiesTheText) {
  const Record record(0, 0, 0, 4);
  vel::control::failCall("CFStringGetCStringPtr", 1);
  EXPECT_EQ(printed(record), text_of(record) + "\n");
  EXPECT_TRUE(vel::control::clearFailures());
}

TEST_F(Edge, Print_WhenTheCopyFails_WritesNothing) {
  const auto objects = vel::control::liveObjects();
  vel::control::failCall("CFStringGetCString", 1);
  EXPECT_EQ(printed(not_ascii), "");
  EXPECT_TRUE(vel::control::clearFailures());
  EXPECT_EQ(vel::control::liveObjects(), objects);
}

TEST_F(Edge, DeltaFlag_IsOffAndReadByNobody) {
  EXPECT_EQ(__vel_profile_delta_enabled, 0);
  static_assert(sizeof __vel_profile_delta_enabled == 1);
  const Record record = Record(7, 0, 2, 2).counting(1);
  const std::string text = text_of(record);
  __vel_profile_delta_enabled = 1;
  EXPECT_EQ(text_of(record), text);
  __vel_profile_delta_enabled = 0;
}

} // namespace
