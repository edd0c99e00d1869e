// What the command line takes, read off the option parser: --help, man pages and completion all show this.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace vel::stat {

struct OptionDefinition {
  std::vector<std::string> names;   // as they are typed, the long ones last; of a positional argument its name
  std::string value;                // what it takes: "FILE", "text|json"; empty for a flag
  std::vector<std::string> choices; // if these are all the values that it takes
  bool isValueOptional = false;     // --stats[=text|json]
  std::string fallback;             // what it is if it is not given; empty: nothing to tell
  bool isRequired = false;
  bool isRepeatable = false;
  std::vector<std::string> excludes; // options that it cannot be combined with
  std::vector<std::string> needs;    // options without which it means nothing
  std::string description;
  std::string group; // the heading in --help
};

OptionDefinition definitionOf(const CLI::Option& option);

// In the order of --help.
std::vector<const CLI::Option*> optionsOf(const CLI::App& command);
std::vector<const CLI::Option*> positionalsOf(const CLI::App& command);
std::vector<const CLI::App*> subcommandsOf(const CLI::App& command);

} // namespace vel::stat
