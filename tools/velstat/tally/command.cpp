// velstat tally: shows an analytics store, once or each time that it changes.

#include <velstat/commands.h>
#include <velstat/options/number_option.h>
#include <velstat/options/output_options.h>
#include <velstat/tally/output.h>
#include <velstat/text/error.h>
#include <velstat/text/pager.h>
#include <velstat/text/wildcard.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <iterator>
#include <memory>
#include <poll.h>
#include <stdexcept>
#include <sys/signalfd.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace vel::stat {

namespace {

namespace fs = std::filesystem;

using control::TallyRow;

struct TallyOptions {
  std::string file;
  std::string format = "table";
  std::vector<std::string> keys;
  bool watch = false;
  double interval = 1;
  std::uint64_t count = 0;
};

// The error in a pattern, for the command line parser; empty if there is none.
std::string checkGlob(const std::string& text) {
  try {
    const Wildcard glob(text);
  } catch (const std::invalid_argument& error) {
    return fmt::format("'{}' has {}", text, error.what());
  }
  return {};
}

// What to add to the error for a folder, such as a capture, that holds a store.
std::string storeIn(const fs::path& folder) {
  const fs::path store = folder / "tally.sqlite";
  std::error_code error; // then there is nothing to add
  return fs::is_regular_file(store, error) ? fmt::format("; its store is {}", store.string()) : "";
}

std::vector<TallyRow> read(const TallyOptions& options) {
  std::vector<TallyRow> rows;
  try {
    rows = control::readTallyStore(options.file);
  } catch (const std::runtime_error& error) {
    throw Error(error.what() + storeIn(options.file));
  }
  if (!options.keys.empty()) {
    const std::vector<Wildcard> globs(options.keys.begin(), options.keys.end());
    std::erase_if(rows, [&](const TallyRow& row) {
      return std::none_of(globs.begin(), globs.end(), [&](const Wildcard& glob) { return glob.matches(row.key); });
    });
  }
  return rows;
}

void render(Sink& out, const TallyOptions& options, const std::vector<TallyRow>& rows) {
  if (options.format == "json") {
    JsonWriter json(out, options.watch ? JsonWriter::Form::oneLine : JsonWriter::Form::indented);
    tallyJson(json, rows);
    out += '\n';
  } else if (options.format == "openmetrics") {
    tallyOpenMetrics(out, rows);
  } else {
    tallyTable(out, rows, Style::ofStandardOutput());
  }
}

int show(const TallyOptions& options) {
  const std::vector<TallyRow> rows = read(options);
  StandardOutput out;
  render(out, options, rows);
  out.flush();
  int status = 0;
  for (const std::string& key : options.keys) {
    const Wildcard glob(key);
    if (std::none_of(rows.begin(), rows.end(), [&](const TallyRow& row) { return glob.matches(row.key); })) {
      complain(fmt::format("--key '{}': nothing matches", key));
      status = 1;
    }
  }
  return status;
}

// Waits for the interval to pass, for a signal that ends the command, or for the reader of the output to go away. A
// signal that arrives earlier is noticed here too, so that no output is cut.
class Pause {
public:
  Pause() {
    sigset_t endings{};
    sigemptyset(&endings);
    sigaddset(&endings, SIGINT);
    sigaddset(&endings, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &endings, nullptr);
    signals_ = signalfd(-1, &endings, SFD_CLOEXEC);
    if (signals_ < 0) {
      throw Error(fmt::format("signals cannot be waited for: {}", std::strerror(errno)));
    }
  }
  ~Pause() { close(signals_); }
  Pause(const Pause&) = delete;
  Pause& operator=(const Pause&) = delete;

  // False if the command should end.
  bool wait(double seconds) const {
    timespec time{};
    time.tv_sec = static_cast<std::time_t>(seconds);
    time.tv_nsec = static_cast<long>((seconds - std::floor(seconds)) * 1e9);
    // Even if no event is requested, poll reports that the other end is closed.
    pollfd waiting[] = {{signals_, POLLIN, 0}, {STDOUT_FILENO, 0, 0}};
    return ppoll(waiting, std::size(waiting), &time, nullptr) <= 0;
  }

private:
  int signals_ = -1;
};

// The FNV-1a hash and length of a rendering: shows whether it changed without storing it.
class Fingerprint final : public Sink {
public:
  void append(std::string_view text) override {
    for (const char c : text) {
      hash_ = (hash_ ^ static_cast<unsigned char>(c)) * 0x100000001B3;
    }
    length_ += text.size();
  }
  std::pair<std::uint64_t, std::size_t> value() const { return {hash_, length_}; }

private:
  std::uint64_t hash_ = 0xCBF29CE484222325;
  std::size_t length_ = 0;
};

int watch(const TallyOptions& options) {
  const Pause pause;
  avoidPager(); // each state replaces the one before
  const bool redraw = isTerminalWithEscapes();
  auto shown = Fingerprint().value(); // nothing
  std::uint64_t times = 0;
  do {
    const std::vector<TallyRow> rows = read(options);
    Fingerprint fingerprint;
    render(fingerprint, options, rows);
    if (fingerprint.value() == shown) {
      continue;
    }
    StandardOutput out;
    out += redraw ? "\x1B[H\x1B[2J" : times == 0 || options.format == "json" ? "" : "\n";
    render(out, options, rows);
    out.flush();
    shown = fingerprint.value();
    if (++times == options.count) {
      return 0;
    }
  } while (pause.wait(options.interval));
  return 0;
}

} // namespace

void addTally(CLI::App& app, int& status) {
  auto options = std::make_shared<TallyOptions>();
  CLI::App* const command = app.add_subcommand("tally", "Show what an analytics store has counted");
  command->add_option("file", options->file, "The store, also while another process writes to it")
      ->type_name("FILE")
      ->required();
  CLI::Option* const format = command->add_option("--format", options->format, "How to show it")
                                  ->check(CLI::IsMember({"table", "json", "openmetrics"}))
                                  ->capture_default_str();
  command
      ->add_option("--key", options->keys,
                   "Only this key, or keys that match this glob: *, ?, [...], \\ before a character that means itself")
      ->type_name("KEY")
      ->allow_extra_args(false)
      ->check(checkGlob);
  CLI::Option* const watching = command->add_flag("--watch", options->watch, "Show it again whenever it has changed");
  command->add_option("--interval", options->interval, "How often to look for changes, in seconds")
      ->type_name("S")
      ->transform(decimal(0.001, 86400.0))
      ->needs(watching)
      ->capture_default_str();
  command->add_option("--count", options->count, "End after it was shown so many times; 0: never")
      ->type_name("N")
      ->transform(decimal<std::uint64_t>())
      ->needs(watching)
      ->capture_default_str();
  addOutputOptions(*command);
  command->footer("Example:\n  velstat tally --key 'com.tavik.kip.button.*' --watch tally.sqlite\n\n"
                  "Exit status: 0 success, 1 the file cannot be read or a glob matches nothing (with --watch it may "
                  "later), 2 wrong usage.");
  command->callback([options, format, &status] {
    if (options->watch && options->format == "openmetrics") {
      throw CLI::ValidationError(format->get_name(), "openmetrics is one document and cannot be watched");
    }
    status = options->watch ? watch(*options) : show(*options);
  });
}

} // namespace vel::stat
