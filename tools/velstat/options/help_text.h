// Formats help for the terminal.
#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace CLI {
class Formatter;
}

namespace vel::stat {

// Writes the options with their descriptions in a separate column.
std::shared_ptr<CLI::Formatter> helpFormatter();

// The formatter's text in lines of at most 80 columns, or fewer on a narrow terminal.
std::string helpText(std::string_view text);

} // namespace vel::stat
