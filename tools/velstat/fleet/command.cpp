// velstat fleet: the command line of its subcommands.

#include <velstat/commands.h>
#include <velstat/fleet/subcommands.h>

#include <CLI/CLI.hpp>

namespace vel::stat {

void addFleet(CLI::App& app, int& status) {
  CLI::App* const command = app.add_subcommand("fleet", "Logs of many devices in SQL, on a ClickHouse cluster");
  command->require_subcommand(1);
  command->footer("Examples:\n  velstat fleet schema --to http://127.0.0.1:8123\n"
                  "  velstat fleet load --to http://127.0.0.1:8123 --list captures.jsonl\n  velstat fleet ask --list");
  addFleetSchema(*command, status);
  addFleetLoad(*command, status);
  addFleetAsk(*command, status);
}

} // namespace vel::stat
