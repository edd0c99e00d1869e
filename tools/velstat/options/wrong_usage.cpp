// Compares words with names, and looks at the files that they name.
#include "velstat/options/wrong_usage.h"

#include <formats/nearest_name.h>
#include <velstat/options/definition.h>

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string_view>
#include <system_error>
#include <vector>

namespace vel::stat {

namespace {

namespace fs = std::filesystem;

enum class Thing { other, model, capture };

Thing thingAt(const std::string& path) {
  std::error_code error; // the text may not be a path
  if (fs::is_directory(path, error)) {
    return fs::exists(fs::path(path) / "manifest.json", error) ? Thing::capture : Thing::other;
  }
  if (path.ends_with(".json")) {
    return Thing::model;
  }
  if (fs::is_regular_file(path, error)) {
    std::ifstream file(path);
    char first = 0;
    return file >> first && first == '{' ? Thing::model : Thing::other;
  }
  return Thing::other;
}

bool isOption(std::string_view word) {
  return word.size() > 1 && word.front() == '-';
}

std::string nearest(std::string_view word, const std::vector<std::string>& names, std::string_view before = "") {
  const std::vector<std::string_view> views(names.begin(), names.end());
  const auto name = formats::nearestName(word, views);
  return name ? fmt::format("; did you mean '{}{}'?", before, *name) : "";
}

std::vector<std::string> optionNames(const CLI::App& command) {
  std::vector<std::string> names;
  for (const CLI::Option* const option : command.get_options({})) {
    names.insert(names.end(), option->get_lnames().begin(), option->get_lnames().end());
  }
  return names;
}

std::vector<std::string> subcommandNames(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* const command : subcommandsOf(app)) {
    names.push_back(command->get_name());
  }
  return names;
}

// The innermost subcommand on the command line.
const CLI::App& chosen(const CLI::App& app) {
  const std::vector<CLI::App*> parsed = app.get_subcommands();
  return parsed.empty() ? app : chosen(*parsed.back());
}

bool takes(const CLI::App& command, const std::string& option) {
  return command.get_option_no_throw(option) != nullptr;
}

std::string useModel(const std::string& path) {
  return fmt::format("'{0}' looks like a device model: use --model {0}", path);
}

std::string explainPath(const CLI::App& command, const std::string& path) {
  const bool any = command.get_parent() == nullptr; // no subcommand was named
  switch (thingAt(path)) {
  case Thing::model:
    return any                         ? fmt::format("'{0}' is not a subcommand: use capture --model {0}", path)
           : takes(command, "--model") ? useModel(path)
                                       : "";
  case Thing::capture:
    return fmt::format("'{}' is a capture: triage, show, decode, query and diff read it", path);
  case Thing::other:
    break;
  }
  return {};
}

} // namespace

std::string explainUnknown(const CLI::App& app, const std::string& word) {
  const CLI::App& command = chosen(app);
  const std::string unknown = fmt::format("'{}' is unknown here", word);
  if (isOption(word)) {
    const std::string name = word.substr(0, word.find('='));
    return unknown + nearest(std::string_view(name).substr(std::min(name.find_first_not_of('-'), name.size())),
                             optionNames(command), "--");
  }
  const std::string path = explainPath(command, word);
  return !path.empty() ? path : unknown + nearest(word, subcommandNames(command));
}

const CLI::App& subcommandNamed(const CLI::App& app, const std::string& name) {
  for (const CLI::App* const command : subcommandsOf(app)) {
    if (command->get_name() == name) {
      return *command;
    }
  }
  throw CLI::ValidationError("help",
                             fmt::format("'{}' is not a subcommand{}", name, nearest(name, subcommandNames(app))));
}

CLI::Validator notAModel() {
  return CLI::Validator([](std::string& path) { return thingAt(path) == Thing::model ? useModel(path) : ""; }, "");
}

} // namespace vel::stat
