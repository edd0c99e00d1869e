// A client of ClickHouse's HTTP interface.
//
//   fleet::Http http({.url = "http://127.0.0.1:8123", .credentials = fleet::readCredentials({})});
//   const std::string answer = http.ask("SELECT count() FROM records FORMAT TabSeparated");
//   http.insert("INSERT INTO records_stored FORMAT RowBinary", rows);
//
// Servers are untrusted: answers are limited in size, and a server's message is shown as one line without control
// characters and without the password. Proxies are used only for servers on other machines. Failures are thrown as
// ConnectionError or ServerError.
#pragma once

#include <fleet/error.h>

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vel::fleet {

struct Credentials {
  std::string user; // empty: the server's default user
  std::string password;
};

// Reads a file of two lines, user and password, which only its owner may read. If `file` is empty, reads the
// environment variables VELSTAT_FLEET_USER and VELSTAT_FLEET_PASSWORD. Throws Error.
Credentials readCredentials(const std::filesystem::path& file);

struct ServerAddress {
  std::string url = "http://127.0.0.1:8123"; // http or https, without credentials
  Credentials credentials;
  std::filesystem::path authorities; // certificates that https trusts instead of the system's; empty: the system's
  std::string database = "velstat";
  std::chrono::milliseconds connectTime{5'000};
  std::chrono::milliseconds silence{60'000}; // the longest time without a byte in either direction
};

// Settings of one request, such as {"readonly", "1"}.
using Settings = std::vector<std::pair<std::string, std::string>>;

// One connection, kept open between requests. [one thread at a time]
class Http {
public:
  // Throws Error if the URL is not an http or https URL, or contains a user or a password.
  explicit Http(ServerAddress address);
  ~Http();
  Http(const Http&) = delete;
  Http& operator=(const Http&) = delete;

  // Runs a statement, and passes on the answer in pieces as they arrive. Unless the settings have "wait_end_of_query",
  // a failure may follow after pieces of an answer.
  using Receive = std::function<void(std::string_view piece)>;
  void run(std::string_view statement, const Receive& receive, const Settings& settings = {});

  // Returns the whole answer. Throws Error if it has more than `most` bytes.
  static constexpr std::size_t usualAnswer = std::size_t{1} << 20;
  std::string ask(std::string_view statement, const Settings& settings = {}, std::size_t most = usualAnswer);

  // Runs an INSERT with these rows, in the format that the statement names. When it returns, the server has them.
  void insert(std::string_view statement, std::string_view rows, const Settings& settings = {});

  const ServerAddress& address() const;

private:
  struct State;
  std::unique_ptr<State> state_;
};

// The server's message as a part of a line: without control characters and the secret, and cut if it is long.
std::string safeWords(std::string_view words, std::string_view secret);
// The number in "Code: 60, e.displayText() = DB::Exception: …"; 0 if there is none.
int errorCode(std::string_view words);

} // namespace vel::fleet
