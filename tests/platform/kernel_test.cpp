// Boot time, result texts and the process's port.
#include "services_fixture.h"
#include <control/clock.h>

#include <IOKit/IOTypes.h>
#include <mach/mach.h>
#include <mach/mach_error.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <set>
#include <sstream>
#include <sys/sysctl.h>
#include <sys/time.h>

using namespace vel::control;

namespace {

class BootTime : public Services {
protected:
  void TearDown() override {
    setBootTime({});
    Services::TearDown();
  }

  static timeval read() {
    const int name[] = {CTL_KERN, KERN_BOOTTIME};
    timeval time{};
    std::size_t size = sizeof(time);
    EXPECT_EQ(sysctl(name, 2, &time, &size, nullptr, 0), 0);
    EXPECT_EQ(size, sizeof(time));
    return time;
  }
};

TEST_F(BootTime, IsTheKernels) {
  std::ifstream stat("/proc/stat");
  long long expected = -1;
  for (std::string line; std::getline(stat, line);) {
    if (line.starts_with("btime ")) {
      std::istringstream(line.substr(6)) >> expected;
    }
  }
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(read().tv_sec, expected);
    EXPECT_EQ(read().tv_usec, 0);
  }
}

TEST_F(BootTime, CanBeChosen) {
  struct Row {
    std::int64_t microseconds;
    std::int64_t seconds;
    std::int64_t rest;
  };
  for (const auto& row : {Row{1'700'000'000'123'456, 1'700'000'000, 123'456}, Row{0, 0, 0}, Row{999'999, 0, 999'999},
                          Row{-1, -1, 999'999}, Row{-1'000'000, -1, 0}, Row{INT64_MIN, -9'223'372'036'855, 224'192}}) {
    setBootTime(row.microseconds);
    EXPECT_EQ(read().tv_sec, row.seconds) << row.microseconds;
    EXPECT_EQ(read().tv_usec, row.rest) << row.microseconds;
  }
}

TEST_F(BootTime, OtherQuestions_FailWithErrno) {
  std::array<unsigned char, 32> buffer{};
  struct Row {
    const char* what;
    std::vector<int> name;
    std::size_t size;
    const void* value;
    std::size_t valueSize;
    int error;
  };
  const int one = 1;
  const Row rows[] = {
      {"another name", {CTL_KERN, 1}, 32, nullptr, 0, ENOENT},
      {"another branch", {2, KERN_BOOTTIME}, 32, nullptr, 0, ENOENT},
      {"too short a name", {CTL_KERN}, 32, nullptr, 0, ENOENT},
      {"too long a name", {CTL_KERN, KERN_BOOTTIME, 0}, 32, nullptr, 0, ENOENT},
      {"setting", {CTL_KERN, KERN_BOOTTIME}, 32, &one, sizeof(one), EPERM},
      {"setting to nothing", {CTL_KERN, KERN_BOOTTIME}, 32, nullptr, 1, EPERM},
      {"too small a buffer", {CTL_KERN, KERN_BOOTTIME}, 15, nullptr, 0, ENOMEM},
  };
  for (const auto& row : rows) {
    std::size_t size = row.size;
    errno = 0;
    EXPECT_EQ(
        sysctl(row.name.data(), static_cast<unsigned>(row.name.size()), buffer.data(), &size, row.value, row.valueSize),
        -1)
        << row.what;
    EXPECT_EQ(errno, row.error) << row.what;
    EXPECT_EQ(size, row.size) << row.what;
    EXPECT_EQ(buffer, (std::array<unsigned char, 32>{})) << row.what;
  }
  errno = 0;
  EXPECT_EQ(sysctl(nullptr, 2, buffer.data(), nullptr, nullptr, 0), -1);
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(BootTime, WithoutABuffer_TellsTheSize) {
  const int name[] = {CTL_KERN, KERN_BOOTTIME};
  std::size_t size = 0;
  EXPECT_EQ(sysctl(name, 2, nullptr, &size, nullptr, 0), 0);
  EXPECT_EQ(size, 16U);
  EXPECT_EQ(sysctl(name, 2, nullptr, nullptr, nullptr, 0), 0);
  std::array<unsigned char, 16> buffer{};
  EXPECT_EQ(sysctl(name, 2, buffer.data(), nullptr, nullptr, 0), -1);
}

class Mach : public Services {};

TEST_F(Mach, EveryNamedCode_HasItsOwnText) {
  const kern_return_t codes[] = {kIOReturnSuccess,     kIOReturnError,           kIOReturnNoMemory,
                                 kIOReturnNoResources, kIOReturnNoDevice,        kIOReturnNotPrivileged,
                                 kIOReturnBadArgument, kIOReturnExclusiveAccess, kIOReturnUnsupported,
                                 kIOReturnIOError,     kIOReturnNotOpen,         kIOReturnBusy,
                                 kIOReturnTimeout,     kIOReturnNotReady,        kIOReturnNotPermitted,
                                 kIOReturnUnderrun,    kIOReturnNotFound};
  std::set<std::string> texts;
  for (const auto code : codes) {
    const char* const text = mach_error_string(code);
    ASSERT_NE(text, nullptr) << std::hex << code;
    EXPECT_EQ(mach_error_string(code), text);
    texts.insert(text);
  }
  EXPECT_EQ(texts.size(), std::size(codes));
  EXPECT_STREQ(mach_error_string(0), "success");
  EXPECT_STREQ(mach_error_string(kIOReturnNotReady), "not ready");
}

TEST_F(Mach, OtherCodes_HaveNone) {
  for (const auto code : {1, -1, static_cast<int>(0xE00002BB), static_cast<int>(0x80000004)}) {
    EXPECT_EQ(mach_error_string(code), nullptr) << std::hex << code;
  }
}

TEST_F(Mach, TaskPort_IsAlwaysTheSameAndNotNone) {
  EXPECT_NE(mach_task_self(), 0U);
  EXPECT_EQ(mach_task_self(), mach_task_self());
}

} // namespace
