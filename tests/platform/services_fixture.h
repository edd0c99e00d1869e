// A fixture for the services: no registration, recording or failure plan survives a test, and CF objects balance.
#pragma once

#include "no_leaks.h"
#include <control/calls.h>
#include <control/log.h>
#include <control/notify.h>
#include <control/ref.h>
#include <control/registry.h>
#include <control/state.h>
#include <control/tally.h>

#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

class Services : public NoLeaks {
protected:
  void TearDown() override {
    vel::control::stopRecording();
    vel::control::clearFailures();
    vel::control::resetRegistry();
    vel::control::dropNotifications();
    vel::control::dropStateHandlers();
    vel::control::clearTally();
    vel::control::clearLog();
    NoLeaks::TearDown();
  }
};

// A dictionary of strings; both references belong to the result.
inline vel::control::Ref<CFDictionaryRef> strings(const std::vector<std::pair<const char*, const char*>>& pairs) {
  using vel::control::Ref;
  auto dictionary = Ref<CFMutableDictionaryRef>::adopt(
      CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
  for (const auto& [key, value] : pairs) {
    const auto name = Ref<CFStringRef>::adopt(CFStringCreateWithCString(nullptr, key, kCFStringEncodingUTF8));
    const auto text = Ref<CFStringRef>::adopt(CFStringCreateWithCString(nullptr, value, kCFStringEncodingUTF8));
    CFDictionarySetValue(dictionary.get(), name.get(), text.get());
  }
  return Ref<CFDictionaryRef>::adopt(dictionary.release());
}
