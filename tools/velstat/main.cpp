// velstat: the command line, and how failures of all subcommands are reported.

#include <velstat/commands.h>
#include <velstat/complete/candidates.h>
#include <velstat/mapped_files.h>
#include <velstat/options/help_text.h>
#include <velstat/options/wrong_usage.h>
#include <velstat/text/output.h>
#include <velstat/text/pager.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <fcntl.h>
#include <span>
#include <sstream>
#include <string>
#include <string_view>
#include <unistd.h>
#include <vector>

namespace {

enum ExitStatus { done = 0, failed = 1, usage = 2 };

using vel::stat::complain;

// If a standard stream is closed, the next file that is opened would take its place. This opens a file that can be
// neither read nor written instead, so that using the stream still fails.
void keepPlacesOfClosedStreams() {
  for (int stream = 0; stream <= 2; ++stream) {
    if (fcntl(stream, F_GETFD) < 0) {
      static_cast<void>(open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY));
    }
  }
}

// An empty value is usually a script's variable that is not set.
constexpr const char* emptyValue = "the value is empty";

void refuseEmptyValues(CLI::App& app) {
  const CLI::Validator check([](const std::string& value) { return value.empty() ? emptyValue : ""; }, "");
  for (CLI::Option* const option : app.get_options()) {
    option->check(check);
  }
  for (CLI::App* const subcommand : app.get_subcommands({})) {
    refuseEmptyValues(*subcommand);
  }
}

// Refuses "--name=", which the parser would read as "--name" if the option needs no value.
void refuseEmptyValues(std::span<char*> arguments) {
  for (const std::string_view argument : arguments) {
    if (argument == "--") {
      return;
    }
    if (argument.starts_with("--") && argument.ends_with('=')) {
      throw CLI::ValidationError(std::string(argument.substr(0, argument.size() - 1)), emptyValue);
    }
  }
}

int run(int argc, char** argv) {
  CLI::App app("Statistics and diagnostics of VEL co-processors: hosts the plug-in on a modelled device.", "velstat");
  app.formatter(vel::stat::helpFormatter()); // also for the subcommands
  app.require_subcommand(1);
  app.set_version_flag("--version", VELSTAT_VERSION);
  app.footer("Example:\n  velstat capture --model models/default.json\n\n"
             "Exit status: 0 success, 1 an input or the operation failed, 2 wrong usage.");
  int status = done;
#define VELSTAT_SUBCOMMAND(add) vel::stat::add(app, status);
#include <subcommands.inc>
#undef VELSTAT_SUBCOMMAND
  refuseEmptyValues(app);

  if (argc > 1 && argv[1] == vel::stat::completionWord) {
    const std::vector<std::string_view> words(argv + 2, argv + argc);
    vel::stat::writeStandardOutput(vel::stat::completionsFor(app, words));
    return done;
  }

  try {
    refuseEmptyValues(std::span(argv, static_cast<std::size_t>(argc)));
    app.parse(argc, argv);
  } catch (const CLI::Success& help) {
    std::ostringstream text;
    app.exit(help, text, text);
    vel::stat::writeStandardOutput(vel::stat::helpText(text.str()));
  } catch (const CLI::ValidationError& error) {
    complain(error.what());
    return usage;
  } catch (const CLI::ParseError& error) {
    // An unknown word is the likelier cause, but the parser reports it only if nothing is missing.
    const std::vector<std::string> unknown = app.remaining(true);
    complain(unknown.empty() ? error.what() : vel::stat::explainUnknown(app, unknown.front()));
    return usage;
  }
  return status;
}

// Reports the error and returns the exit status.
int report(const std::exception& error, int argc, char** argv) {
  vel::stat::endPager(); // so that the line is on the terminal
  complain(error);
  // diff uses the statuses of diff(1): 1 means that the inputs differ, 2 that something failed.
  return argc > 1 && std::string_view(argv[1]) == "diff" ? usage : failed;
}

} // namespace

int main(int argc, char** argv) {
  keepPlacesOfClosedStreams();
  // Writing to a closed pipe, or to a file at its size limit, then fails instead of ending the process.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  vel::stat::reportFilesCutShort();
  int status = done;
  try {
    status = run(argc, argv);
  } catch (const vel::stat::ReaderGone&) { // a success: the reader has seen enough
  } catch (const std::exception& error) {
    status = report(error, argc, argv);
  }
  vel::stat::endPager();
  if (vel::stat::pagerWasMissing()) {
    complain("PAGER names a command that cannot be run: --no-pager does without");
    return failed;
  }
  return status;
}
