// Help as the terminal can show it.
#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace CLI {
class Formatter;
}

namespace vel::stat {

// Lays out options with their descriptions in a column of their own.
std::shared_ptr<CLI::Formatter> helpFormatter();

// What it made of a subcommand in lines of at most 80 columns, fewer on a narrow terminal.
std::string helpText(std::string_view text);

} // namespace vel::stat
