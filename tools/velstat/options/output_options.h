// The options of all subcommands that show something: --color and --no-pager.
#pragma once

namespace CLI {
class App;
}

namespace vel::stat {

void addOutputOptions(CLI::App& command);

} // namespace vel::stat
