// What the journal gets. Its socket has a fixed path, so the test's own sendmsg, which goes before the C library's,
// sends what is for it to a socket of the test.
#include "services_fixture.h"

#include <os/log.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <unistd.h>

using namespace vel::control;

namespace {

std::string journalSocket; // none: nothing is diverted

sockaddr_un addressOf(const std::string& path) {
  sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  return address;
}

bool isForTheJournal(const msghdr& message) {
  const auto* const address = static_cast<const sockaddr_un*>(message.msg_name);
  return address != nullptr && address->sun_family == AF_UNIX &&
         std::string_view(address->sun_path) == "/run/systemd/journal/socket";
}

} // namespace

extern "C" __attribute__((visibility("default"))) ssize_t sendmsg(int socket, const msghdr* message, int flags) {
  msghdr sent = *message;
  sockaddr_un address = addressOf(journalSocket);
  if (!journalSocket.empty() && isForTheJournal(sent)) {
    sent.msg_name = &address;
    sent.msg_namelen = sizeof address;
  }
  return syscall(SYS_sendmsg, socket, &sent, flags);
}

namespace {

class Journal : public Services {
protected:
  void SetUp() override {
    std::string name = testing::TempDir() + "journal-XXXXXX";
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    folder_ = name;
    journalSocket = folder_ / "socket";
    setLogToJournal(true);
  }
  void TearDown() override {
    setLogToJournal(false);
    stop();
    journalSocket.clear();
    std::filesystem::remove_all(folder_);
    for (const auto type : {OS_LOG_TYPE_INFO, OS_LOG_TYPE_DEBUG}) {
      setLogLevel(type, false);
    }
    Services::TearDown();
  }

  void start() {
    socket_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const sockaddr_un address = addressOf(journalSocket);
    ASSERT_EQ(bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  }
  // The name stays, as that of a process that has ended.
  void stop() {
    if (socket_ >= 0) {
      close(std::exchange(socket_, -1));
    }
  }
  // The next message; empty for none.
  std::string next() const {
    std::string bytes(10'000, '\0');
    const ssize_t size = recv(socket_, bytes.data(), bytes.size(), MSG_DONTWAIT);
    bytes.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
    return bytes;
  }

  os_log_t log_ = os_log_create("KIP", "test");

private:
  std::filesystem::path folder_;
  int socket_ = -1;
};

TEST_F(Journal, HasTheLineOfStderr_APriority_AndOneIdentifier) {
  const std::pair<os_log_type_t, const char*> rows[] = {
      {OS_LOG_TYPE_DEBUG, "MESSAGE=debug KIP:test: line 1\nPRIORITY=7\nSYSLOG_IDENTIFIER=velplatform\n"},
      {OS_LOG_TYPE_INFO, "MESSAGE=info KIP:test: line 1\nPRIORITY=6\nSYSLOG_IDENTIFIER=velplatform\n"},
      {OS_LOG_TYPE_DEFAULT, "MESSAGE=default KIP:test: line 1\nPRIORITY=6\nSYSLOG_IDENTIFIER=velplatform\n"},
      {OS_LOG_TYPE_ERROR, "MESSAGE=error KIP:test: line 1\nPRIORITY=3\nSYSLOG_IDENTIFIER=velplatform\n"},
      {OS_LOG_TYPE_FAULT, "MESSAGE=fault KIP:test: line 1\nPRIORITY=2\nSYSLOG_IDENTIFIER=velplatform\n"},
  };
  start();
  for (const auto& [type, message] : rows) {
    setLogLevel(type, true);
    os_log_with_type(log_, type, "line %d\n", 1);
    EXPECT_EQ(next(), message);
  }
  setLogToJournal(false);
  os_log(log_, "not sent");
  EXPECT_EQ(next(), "");
}

TEST_F(Journal, TextOfSeveralLines_IsOneMessage) {
  using namespace std::string_literals;
  start();
  os_log_error(log_, "one\ntwo \x1B[31m");
  const std::string text = "error KIP:test: one\ntwo \\x1B[31m"; // which comes with its length in eight bytes
  EXPECT_EQ(next(), "MESSAGE\n" + std::string(1, static_cast<char>(text.size())) + "\0\0\0\0\0\0\0"s + text +
                        "\nPRIORITY=3\nSYSLOG_IDENTIFIER=velplatform\n");
}

TEST_F(Journal, ThatIsNotThere_LosesItsLines_UntilItComes) {
  testing::internal::CaptureStderr();
  os_log(log_, "lost");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(logLines().size(), 1U);
  start();
  os_log(log_, "sent");
  EXPECT_EQ(next().substr(0, 31), "MESSAGE=default KIP:test: sent\n");
}

TEST_F(Journal, ThatRefusesALine_IsGivenUp) {
  start();
  stop();
  testing::internal::CaptureStderr();
  os_log(log_, "one");
  os_log(log_, "two");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "log: a sink is given up: journal: Connection refused\n");
  EXPECT_EQ(logLines().size(), 2U);
  std::filesystem::remove(journalSocket);
  start();
  os_log(log_, "three");
  EXPECT_EQ(next(), "");
}

} // namespace
