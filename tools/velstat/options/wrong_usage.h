// Suggests what a wrong command line was probably meant to be.
#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace vel::stat {

// The error line for words that no option or subcommand takes: it suggests the nearest name, or the option that takes
// such a path. `app` must have just refused the words.
std::string explainUnknown(const CLI::App& app, const std::string& word);

// The subcommand of that name. Throws CLI::ValidationError with the nearest one.
const CLI::App& subcommandNamed(const CLI::App& app, const std::string& name);

// For a positional argument that is not a device model: refuses files that look like one.
CLI::Validator notAModel();

} // namespace vel::stat
