// The options and arguments of the command line, read from the option parser: --help, man pages and completion show
// these.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace vel::stat {

struct OptionDefinition {
  std::vector<std::string> names;   // as they are typed, the long ones last; the name of a positional argument
  std::string value;                // what it takes, such as "FILE" or "text|json"; empty for a flag
  std::vector<std::string> choices; // all values that it takes; empty if they are not limited
  bool isValueOptional = false;     // --stats[=text|json]
  std::string fallback;             // its default; empty if there is none to show
  bool isRequired = false;
  bool isRepeatable = false;
  std::vector<std::string> excludes; // options that it cannot be combined with
  std::vector<std::string> needs;    // options that it requires
  std::string description;
  std::string group; // the heading in --help
};

OptionDefinition definitionOf(const CLI::Option& option);

// In the order of --help.
std::vector<const CLI::Option*> optionsOf(const CLI::App& command);
std::vector<const CLI::Option*> positionalsOf(const CLI::App& command);
std::vector<const CLI::App*> subcommandsOf(const CLI::App& command);

} // namespace vel::stat
