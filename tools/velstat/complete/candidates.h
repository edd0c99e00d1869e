// What the shells offer to complete the last word of a command line.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
}

namespace vel::stat {

// The first word of a command line that asks for candidates: velstat __complete WORD... The scripts in
// share/completions run it at each Tab; it is not in --help.
constexpr std::string_view completionWord = "__complete";

// `words` are those after "velstat", up to the cursor; the last one may be empty. The answer for the scripts:
//   PATHS <tab> PREFIX
//   CANDIDATE <tab> DESCRIPTION
// PATHS is "files" or "folders" if their names are candidates too, otherwise "none". PREFIX is the part of the last
// word before the candidates ("--format=", "category,").
std::string completionsFor(const CLI::App& app, std::span<const std::string_view> words);

} // namespace vel::stat
