// Writes to an analytics store as lines on the standard input say, and answers each with "ok" when it is done:
//
//   open FILE, close, begin, end, time MICROSECONDS
//   clear KEY, set KEY N, add KEY N                        a scalar
//   empty KEY, only KEY SAMPLE, push KEY SAMPLE TIMES      a distribution
//
// A key is written as an x and the hexadecimal digits of its bytes.

#include <control/ref.h>
#include <control/tally.h>

#include <CoreFoundation/CoreFoundation.h>
#include <TallyStore/TallyStore.h>

#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>

using namespace vel;

namespace {

template <class T>
T next(std::istream& line) {
  T value{};
  if (!(line >> value)) {
    throw std::runtime_error("a word is missing");
  }
  return value;
}

control::Ref<CFStringRef> key(std::istream& line) {
  const auto digits = next<std::string>(line);
  std::string text;
  for (std::size_t i = 1; i + 1 < digits.size(); i += 2) {
    text += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
  }
  return control::Ref<CFStringRef>::adopt(CFStringCreateWithCString(nullptr, text.c_str(), kCFStringEncodingUTF8));
}

void perform(const std::string& command, std::istream& line) {
  if (command == "open") {
    control::openTallyStore(next<std::string>(line));
  } else if (command == "close") {
    control::closeTallyStore();
  } else if (command == "begin") {
    control::beginTallyBatch();
  } else if (command == "end") {
    control::endTallyBatch();
  } else if (command == "time") {
    control::setTallyTime(next<std::int64_t>(line));
  } else if (command == "clear") {
    TSClientClearScalarKey(key(line).get());
  } else if (command == "set") {
    const auto name = key(line);
    TSClientSetValueForScalarKey(name.get(), next<std::int64_t>(line));
  } else if (command == "add") {
    const auto name = key(line);
    TSClientAddValueForScalarKey(name.get(), next<std::int64_t>(line));
  } else if (command == "empty") {
    TSClientClearDistributionKey(key(line).get());
  } else if (command == "only") {
    const auto name = key(line);
    TSClientSetValueForDistributionKey(name.get(), next<double>(line));
  } else if (command == "push") {
    const auto name = key(line);
    const auto sample = next<double>(line);
    for (int times = next<int>(line); times > 0; --times) {
      TSClientPushValueForDistributionKey(name.get(), sample);
    }
  } else {
    throw std::runtime_error("no command: " + command);
  }
}

} // namespace

int main() {
  try {
    for (std::string text; std::getline(std::cin, text);) {
      std::istringstream line(text);
      const auto command = next<std::string>(line);
      perform(command, line);
      std::cout << "ok" << std::endl;
    }
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
  }
  return 0;
}
