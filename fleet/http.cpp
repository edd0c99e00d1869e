// Requests through libcurl: one handle, whose connection is kept open.
#include "fleet/http.h"

#include <fleet/curl_library.h>

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <exception>
#include <optional>
#include <system_error>

namespace vel::fleet {

namespace {

constexpr std::size_t longestWords = 400; // bytes of the server's message in an error line
constexpr std::size_t keptWords = 16384;  // bytes of the server's answer to a refused request

struct FreeCurl {
  void operator()(CURL* handle) const { curl().easyCleanup(handle); }
  void operator()(CURLU* url) const { curl().urlCleanup(url); }
  void operator()(curl_slist* list) const { curl().listFree(list); }
};
using Handle = std::unique_ptr<CURL, FreeCurl>;
using Url = std::unique_ptr<CURLU, FreeCurl>;
using Headers = std::unique_ptr<curl_slist, FreeCurl>;

std::string urlPart(const Url& url, CURLUPart part) {
  char* text = nullptr;
  if (curl().urlGet(url.get(), part, &text, 0) != CURLUE_OK) {
    return {};
  }
  std::string copy(text);
  curl().free(text);
  return copy;
}

// The URL that requests add their parameters to. If it has a password, no part of it appears in an error message.
struct Endpoint {
  std::string base; // "http://127.0.0.1:8123/"
  std::string name; // in messages, without the last '/'
  bool isLocal = false;
};

Endpoint endpointOf(const std::string& text) {
  const Url url(curl().url());
  if (url == nullptr || curl().urlSet(url.get(), CURLUPART_URL, text.c_str(), CURLU_NON_SUPPORT_SCHEME) != CURLUE_OK) {
    throw Error("the server's URL is none: http://127.0.0.1:8123 is one");
  }
  if (!urlPart(url, CURLUPART_USER).empty() || !urlPart(url, CURLUPART_PASSWORD).empty()) {
    throw Error("the server's URL contains a user or a password: put them into a file for --credentials");
  }
  const std::string scheme = urlPart(url, CURLUPART_SCHEME);
  if (scheme != "http" && scheme != "https") {
    throw Error(fmt::format("{}: the server's URL begins with http:// or https://", text));
  }
  if (!urlPart(url, CURLUPART_QUERY).empty() || !urlPart(url, CURLUPART_FRAGMENT).empty()) {
    throw Error(fmt::format("{}: the server's URL has no '?' and no '#'", text));
  }
  const std::string host = urlPart(url, CURLUPART_HOST);
  Endpoint endpoint{urlPart(url, CURLUPART_URL), {}, false};
  endpoint.isLocal = host == "localhost" || host == "[::1]" || host.starts_with("127.");
  if (!endpoint.base.ends_with('/')) {
    endpoint.base += '/';
  }
  endpoint.name = endpoint.base.substr(0, endpoint.base.size() - 1);
  return endpoint;
}

// "Table x doesn't exist." of "Code: 60, e.displayText() = DB::Exception: Table x doesn't exist., e.what() =
// DB::Exception".
std::string_view plainWords(std::string_view words) {
  constexpr std::string_view before = "DB::Exception: ";
  constexpr std::string_view after = ", e.what() = ";
  if (const std::size_t at = words.find(before); at != std::string_view::npos) {
    words.remove_prefix(at + before.size());
  }
  return words.substr(0, words.rfind(after));
}

std::string percentEncoded(std::string_view text) {
  std::string encoded;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    const bool isPlain = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9') ||
                         byte == '-' || byte == '_' || byte == '.' || byte == '~';
    if (isPlain) {
      encoded += character;
    } else {
      encoded += fmt::format("%{:02X}", byte);
    }
  }
  return encoded;
}

} // namespace

struct Http::State {
  explicit State(ServerAddress given) : address(std::move(given)), endpoint(endpointOf(address.url)) {}

  // What one request has received so far.
  struct Answer {
    const Receive* receive = nullptr;
    std::string words; // of a refusal
    std::exception_ptr failure;
  };

  void prepare(const std::string& parameters) {
    curl().easyReset(handle.get());
    set(CURLOPT_URL, (endpoint.base + "?" + parameters).c_str());
    set(CURLOPT_PROTOCOLS_STR, "http,https");
    set(CURLOPT_FOLLOWLOCATION, 0L);
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(address.connectTime.count()));
    set(CURLOPT_LOW_SPEED_LIMIT, 1L);
    set(CURLOPT_LOW_SPEED_TIME,
        std::max(1L, static_cast<long>(std::chrono::ceil<std::chrono::seconds>(address.silence).count())));
    set(CURLOPT_BUFFERSIZE, 256L * 1024);
    set(CURLOPT_UPLOAD_BUFFERSIZE, 1024L * 1024);
    set(CURLOPT_TCP_KEEPALIVE, 1L);
    set(CURLOPT_ERRORBUFFER, errorText.data());
    if (endpoint.isLocal) {
      set(CURLOPT_PROXY, "");
    }
    if (!address.authorities.empty()) {
      set(CURLOPT_CAINFO, address.authorities.c_str());
    }
    if (!address.credentials.user.empty()) {
      set(CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_BASIC));
      set(CURLOPT_USERNAME, address.credentials.user.c_str());
      set(CURLOPT_PASSWORD, address.credentials.password.c_str());
    }
    errorText[0] = '\0';
  }

  template <class Value>
  void set(CURLoption option, Value value) {
    const CURLcode code = curl().setOption(handle.get(), option, value);
    if (code != CURLE_OK) {
      throw Error(fmt::format("{}: {}", endpoint.name, curl().errorText(code)));
    }
  }

  std::string parameters(std::string_view query, const Settings& settings) const {
    std::string text = "database=" + percentEncoded(address.database);
    if (!query.empty()) {
      text += "&query=" + percentEncoded(query);
    }
    for (const auto& [name, value] : settings) {
      text += "&" + percentEncoded(name) + "=" + percentEncoded(value);
    }
    return text;
  }

  // Sends the prepared request. Throws unless it succeeds.
  void perform(const Receive& receive) {
    Answer answer{&receive, {}, nullptr};
    set(CURLOPT_WRITEFUNCTION, &State::takePiece);
    set(CURLOPT_WRITEDATA, this);
    // Without this, a large request waits up to a second for the server's "100 Continue".
    const Headers headers(curl().listAppend(nullptr, "Expect:"));
    set(CURLOPT_HTTPHEADER, headers.get());
    current = &answer;
    const CURLcode code = curl().perform(handle.get());
    current = nullptr;
    if (answer.failure != nullptr) {
      std::rethrow_exception(answer.failure);
    }
    const long status = statusOf();
    if (status != 0 && status != 200) { // even if the connection was cut after the status
      refuse(status, answer.words);
    }
    if (code != CURLE_OK) {
      throw ConnectionError(fmt::format("{}: {}", endpoint.name, connectionWords(code)));
    }
  }

  long statusOf() const {
    long status = 0;
    curl().getInfo(handle.get(), CURLINFO_RESPONSE_CODE, &status);
    return status;
  }

  std::string connectionWords(CURLcode code) const {
    if (code == CURLE_OPERATION_TIMEDOUT) {
      return fmt::format("no answer in time; {}", safeWords(errorText.data(), address.credentials.password));
    }
    const std::string_view detail = errorText.data();
    return safeWords(detail.empty() ? curl().errorText(code) : detail, address.credentials.password);
  }

  [[noreturn]] void refuse(long status, const std::string& words) const {
    constexpr int unknownUser = 192;
    constexpr int wrongPassword = 193;
    const int code = errorCode(words);
    if (code == unknownUser || code == wrongPassword || status == 401 || status == 403) {
      throw ServerError(fmt::format("{}: the server does not accept the user and the password; they come from "
                                    "--credentials, or VELSTAT_FLEET_USER and VELSTAT_FLEET_PASSWORD",
                                    endpoint.name),
                        code);
    }
    const std::string said = safeWords(plainWords(words), address.credentials.password);
    throw ServerError(said.empty() ? fmt::format("{}: the server answers with HTTP status {}", endpoint.name, status)
                                   : fmt::format("{}: {}", endpoint.name, said),
                      code);
  }

  static std::size_t takePiece(char* data, std::size_t one, std::size_t count, void* self) {
    const std::size_t size = one * count;
    State& state = *static_cast<State*>(self);
    Answer& answer = *state.current;
    if (state.statusOf() != 200) {
      answer.words.append(data, std::min(size, keptWords - std::min(keptWords, answer.words.size())));
      return size;
    }
    try {
      if (*answer.receive) {
        (*answer.receive)({data, size});
      }
      return size;
    } catch (...) { // exceptions must not pass through libcurl, which is C
      answer.failure = std::current_exception();
      return size + 1;
    }
  }

  const ServerAddress address;
  const Endpoint endpoint;
  Handle handle;
  Answer* current = nullptr; // during a request
  std::array<char, CURL_ERROR_SIZE> errorText{};
};

Http::Http(ServerAddress address) {
  state_ = std::make_unique<State>(std::move(address));
  state_->handle.reset(curl().easyInit());
  if (state_->handle == nullptr) {
    throw Error("libcurl cannot be initialised");
  }
}

Http::~Http() = default;

const ServerAddress& Http::address() const {
  return state_->address;
}

void Http::run(std::string_view statement, const Receive& receive, const Settings& settings) {
  state_->prepare(state_->parameters({}, settings));
  state_->set(CURLOPT_POST, 1L);
  state_->set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(statement.size()));
  state_->set(CURLOPT_POSTFIELDS, statement.data());
  state_->perform(receive);
}

std::string Http::ask(std::string_view statement, const Settings& settings, std::size_t most) {
  std::string answer;
  const auto keep = [&](std::string_view piece) {
    if (piece.size() > most - answer.size()) {
      throw Error(fmt::format("{}: the answer has more than {} bytes", state_->endpoint.name, most));
    }
    answer += piece;
  };
  run(statement, keep, settings);
  return answer;
}

void Http::insert(std::string_view statement, std::string_view rows, const Settings& settings) {
  state_->prepare(state_->parameters(statement, settings));
  state_->set(CURLOPT_POST, 1L);
  state_->set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(rows.size()));
  state_->set(CURLOPT_POSTFIELDS, rows.data());
  state_->perform({});
}

std::string safeWords(std::string_view words, std::string_view secret) {
  std::string text(words);
  if (!secret.empty()) {
    for (std::size_t at = text.find(secret); at != std::string::npos; at = text.find(secret, at)) {
      text.replace(at, secret.size(), "…");
    }
  }
  std::string line;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    const bool isBlank = byte <= ' ' || byte == 0x7f;
    if (!isBlank) {
      line += character;
    } else if (!line.empty() && line.back() != ' ') {
      line += ' ';
    }
    if (line.size() >= longestWords) {
      while ((static_cast<unsigned char>(line.back()) & 0xc0) == 0x80) { // in the middle of a character
        line.pop_back();
      }
      line.pop_back();
      return line + "…";
    }
  }
  while (line.ends_with(' ')) {
    line.pop_back();
  }
  return line;
}

int errorCode(std::string_view words) {
  constexpr std::string_view before = "Code: ";
  const std::size_t at = words.find(before);
  if (at == std::string_view::npos) {
    return 0;
  }
  int code = 0;
  const char* const begin = words.data() + at + before.size();
  const auto [end, error] = std::from_chars(begin, words.data() + words.size(), code);
  return error == std::errc() && end != begin && code > 0 ? code : 0;
}

} // namespace vel::fleet
