// Reads option definitions from CLI::App and CLI::Option.
#include "velstat/options/definition.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cctype>
#include <string_view>

namespace vel::stat {

namespace {

// The values of CLI::IsMember, which the parser gives only as a part of the type: "TEXT:{text,json}".
std::vector<std::string> choicesIn(std::string_view type) {
  std::vector<std::string> choices;
  const std::size_t open = type.find('{');
  const std::size_t close = type.find('}', open);
  if (open == std::string_view::npos || close == std::string_view::npos) {
    return choices;
  }
  for (std::string_view rest = type.substr(open + 1, close - open - 1); !rest.empty();) {
    const std::size_t end = std::min(rest.find(','), rest.size());
    choices.emplace_back(rest.substr(0, end));
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return choices;
}

std::vector<std::string> namesOf(const CLI::Option& option) {
  std::vector<std::string> names;
  if (option.get_positional()) {
    return {option.get_name(true, false)};
  }
  for (const std::string& letter : option.get_snames()) {
    names.push_back('-' + letter);
  }
  for (const std::string& word : option.get_lnames()) {
    names.push_back("--" + word);
  }
  return names;
}

std::vector<std::string> namesOf(const std::set<CLI::Option*>& options) {
  std::vector<std::string> names;
  names.reserve(options.size());
  for (const CLI::Option* const option : options) {
    names.push_back(option->get_name());
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::string upperCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char letter) { return static_cast<char>(std::toupper(letter)); });
  return text;
}

std::string valueOf(const CLI::Option& option, const OptionDefinition& definition) {
  if (!definition.choices.empty()) {
    return fmt::format("{}", fmt::join(definition.choices, "|"));
  }
  if (option.get_type_size() == 0) {
    return {};
  }
  const std::string type = option.get_type_name();
  return type.empty() && option.get_positional() ? upperCase(definition.names.front()) : type;
}

std::vector<const CLI::Option*> optionsWhere(const CLI::App& command, bool isPositional) {
  return command.get_options([=](const CLI::Option* option) {
    return option->get_positional() == isPositional && !option->get_group().empty();
  });
}

} // namespace

OptionDefinition definitionOf(const CLI::Option& option) {
  OptionDefinition definition;
  definition.names = namesOf(option);
  definition.choices = choicesIn(option.get_type_name());
  definition.value = valueOf(option, definition);
  definition.isValueOptional =
      !option.get_positional() && option.get_items_expected_min() == 0 && !definition.value.empty();
  definition.fallback = option.get_default_str();
  definition.isRequired = option.get_required();
  definition.isRepeatable = option.get_expected_max() >= CLI::detail::expected_max_vector_size;
  definition.excludes = namesOf(option.get_excludes());
  definition.needs = namesOf(option.get_needs());
  definition.description = option.get_description();
  definition.group = option.get_group();
  return definition;
}

std::vector<const CLI::Option*> optionsOf(const CLI::App& command) {
  return optionsWhere(command, false);
}

std::vector<const CLI::Option*> positionalsOf(const CLI::App& command) {
  return optionsWhere(command, true);
}

std::vector<const CLI::App*> subcommandsOf(const CLI::App& command) {
  return command.get_subcommands([](const CLI::App* each) { return !each->get_group().empty(); });
}

} // namespace vel::stat
