// --color and --no-pager, which apply to the whole process.
#include "velstat/options/output_options.h"

#include <velstat/text/output.h>
#include <velstat/text/pager.h>

#include <CLI/CLI.hpp>

#include <string>

namespace vel::stat {

namespace {

constexpr const char* group = "On a terminal";

Colour colourNamed(const std::string& name) {
  return name == "always" ? Colour::always : name == "never" ? Colour::never : Colour::automatic;
}

} // namespace

void addOutputOptions(CLI::App& command) {
  command
      .add_option_function<std::string>(
          "--color", [](const std::string& name) { chooseColour(colourNamed(name)); },
          "Colours; auto: on a terminal, unless NO_COLOR is set")
      ->check(CLI::IsMember({"auto", "always", "never"}))
      ->default_str("auto")
      ->group(group);
  command.add_flag_callback("--no-pager", avoidPager, "Show long output at once, not in $PAGER")->group(group);
}

} // namespace vel::stat
