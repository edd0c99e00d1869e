// Adds the subcommands of velstat fleet, as velstat/commands.h does those of velstat.
#pragma once

namespace CLI {
class App;
}

namespace vel::stat {

void addFleetAsk(CLI::App& fleet, int& status);
void addFleetLoad(CLI::App& fleet, int& status);
void addFleetSchema(CLI::App& fleet, int& status);

} // namespace vel::stat
