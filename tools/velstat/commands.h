// The subcommands, one folder each. A function adds its subcommand to the command line; when the subcommand is chosen,
// its callback runs and sets `status`, which must outlive the parse. Failures are thrown as formats::Error.
#pragma once

namespace CLI {
class App;
}

namespace vel::stat {

#define VELSTAT_SUBCOMMAND(add) void add(CLI::App& app, int& status);
#include <subcommands.inc> // from velstat_subcommand() in CMakeLists.txt
#undef VELSTAT_SUBCOMMAND

} // namespace vel::stat
