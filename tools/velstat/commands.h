// The subcommands, each in a file of its own. A function adds its subcommand to the command line; when it was chosen,
// its callback runs and sets `status`, which must outlive the parse. Errors for people are thrown as host::Error.
#pragma once

namespace CLI {
class App;
}

namespace vel::stat {

void addCapture(CLI::App& app, int& status);
void addDecode(CLI::App& app, int& status);
void addGenerate(CLI::App& app, int& status);
void addDiff(CLI::App& app, int& status);
void addPublish(CLI::App& app, int& status);
void addShow(CLI::App& app, int& status);
void addTally(CLI::App& app, int& status);

} // namespace vel::stat
