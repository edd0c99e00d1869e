// Everything in a capture except reports and records, as a tree.
#pragma once

#include <formats/value.h>
#include <sources/capture.h>

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>

namespace vel::stat {

// The services by name: usages, whether each was opened, its handlers, and what those that returned nothing said.
formats::Value serviceValues(const sources::Capture& capture);
// The device, its services, and the handlers by number: service, whether each answered, and its result if it did not.
formats::Value captureValues(const sources::Capture& capture);

// Makes repeated names different: "Button", "Button (2)". [one thread at a time]
class UniqueNames {
public:
  std::string add(std::string_view name);

private:
  std::map<std::string, std::size_t, std::less<>> seen_; // how often each was added
};

} // namespace vel::stat
