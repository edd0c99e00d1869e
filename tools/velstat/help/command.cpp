// velstat help: the help of a subcommand, or of velstat itself.

#include <velstat/commands.h>
#include <velstat/options/help_text.h>
#include <velstat/options/wrong_usage.h>
#include <velstat/text/output.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <memory>
#include <string>
#include <vector>

namespace vel::stat {

void addHelp(CLI::App& app, int& status) {
  auto names = std::make_shared<std::vector<std::string>>();
  CLI::App* const command = app.add_subcommand("help", "Show the help of a subcommand, as its --help does");
  command->add_option("subcommand", *names, "Its name, and that of a part of it (default: velstat itself)")
      ->type_name("NAME");
  command->footer("Examples:\n  velstat help capture\n  velstat help generate records");
  command->callback([&app, names, &status] {
    const CLI::App* named = &app;
    std::string usage = app.get_name();
    for (const std::string& name : *names) {
      named = &subcommandNamed(*named, name);
      usage += ' ' + name;
    }
    writeStandardOutput(helpText(named->get_formatter()->make_help(named, usage, CLI::AppFormatMode::Normal)));
    status = 0;
  });
}

} // namespace vel::stat
