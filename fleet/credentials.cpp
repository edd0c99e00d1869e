// User and password, from a file that only its owner may read, or from the environment.
#include <fleet/http.h>

#include <fmt/format.h>

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace vel::fleet {

namespace {

constexpr std::size_t longestFile = 4096;

class CredentialsFile {
public:
  explicit CredentialsFile(int descriptor) : descriptor_(descriptor) {}
  ~CredentialsFile() { close(descriptor_); }
  CredentialsFile(const CredentialsFile&) = delete;
  CredentialsFile& operator=(const CredentialsFile&) = delete;
  int get() const { return descriptor_; }

private:
  const int descriptor_;
};

[[noreturn]] void fail(const std::filesystem::path& file, const std::string& cause) {
  throw Error(fmt::format("{}: {}", file.string(), cause));
}

std::string credentialsIn(const std::filesystem::path& file) {
  const int opened = open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (opened < 0) {
    fail(file, std::generic_category().message(errno));
  }
  const CredentialsFile source(opened);
  struct stat status {};
  if (fstat(source.get(), &status) != 0) {
    fail(file, std::generic_category().message(errno));
  }
  if (!S_ISREG(status.st_mode)) {
    fail(file, "the credentials are in a regular file");
  }
  if ((status.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
    fail(file, "other users may read the credentials: chmod 600 changes that");
  }
  std::string content(longestFile + 1, '\0');
  std::size_t size = 0;
  while (size < content.size()) {
    const ssize_t count = read(source.get(), content.data() + size, content.size() - size);
    if (count < 0) {
      fail(file, std::generic_category().message(errno));
    }
    if (count == 0) {
      break;
    }
    size += static_cast<std::size_t>(count);
  }
  if (size > longestFile) {
    fail(file, fmt::format("longer than the {} bytes that credentials may have", longestFile));
  }
  content.resize(size);
  return content;
}

// HTTP's basic authentication ends the user's name at the first colon.
bool isUser(std::string_view user) {
  return !user.empty() && user.find_first_of(std::string_view(":\0\n\r", 4)) == std::string_view::npos;
}

} // namespace

Credentials readCredentials(const std::filesystem::path& file) {
  if (file.empty()) {
    const char* const user = std::getenv("VELSTAT_FLEET_USER");
    const char* const password = std::getenv("VELSTAT_FLEET_PASSWORD");
    if (user == nullptr || *user == '\0') {
      if (password != nullptr && *password != '\0') {
        throw Error("VELSTAT_FLEET_PASSWORD is set, but VELSTAT_FLEET_USER is not");
      }
      return {};
    }
    if (!isUser(user)) {
      throw Error("VELSTAT_FLEET_USER: a user's name has no ':' and no line end");
    }
    return {user, password == nullptr ? "" : password};
  }
  const std::string content = credentialsIn(file);
  const std::size_t first = content.find('\n');
  const std::string user = content.substr(0, first);
  std::string password = first == std::string::npos ? std::string() : content.substr(first + 1);
  if (password.ends_with('\n')) {
    password.pop_back();
  }
  if (!isUser(user) || password.find('\n') != std::string::npos || password.find('\0') != std::string::npos) {
    fail(file, "two lines are expected: the user, and the password");
  }
  return {user, password};
}

} // namespace vel::fleet
