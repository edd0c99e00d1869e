// Follows the words through subcommands and options as the option parser would.
#include "velstat/complete/candidates.h"

#include <formats/nearest_name.h>
#include <velstat/complete/values.h>
#include <velstat/options/definition.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <utility>

namespace vel::stat {

namespace {

constexpr std::string_view helpCommand = "help"; // its arguments are subcommands

template <class Range>
bool contains(const Range& range, std::string_view text) {
  return std::find(range.begin(), range.end(), text) != range.end();
}

bool takesNextWord(const OptionDefinition& option) {
  return !option.value.empty() && !option.isValueOptional;
}

const CLI::App* subcommandOf(const CLI::App& command, std::string_view name) {
  for (const CLI::App* const each : subcommandsOf(command)) {
    if (each->get_name() == name) {
      return each;
    }
  }
  return nullptr;
}

// What the words before the last one say about it.
class Line {
public:
  explicit Line(const CLI::App& app) : root_(&app), command_(&app) {}

  void take(std::string_view word) {
    if (std::exchange(pending_, std::nullopt)) {
      return;
    }
    if (!afterDashes_ && word == "--") {
      afterDashes_ = true;
    } else if (!afterDashes_ && word.size() > 1 && word.front() == '-') {
      takeOption(word);
    } else if (const CLI::App* const next = subcommandOf(*command_, word); next != nullptr && arguments_.empty()) {
      command_ = next;
      used_.clear();
    } else {
      arguments_.push_back(word);
    }
  }

  // The candidates for the last word. The part of the word before the candidates is moved to `prefix`.
  Values valuesFor(std::string_view& word, std::string& prefix) const {
    if (pending_) {
      return optionValues(*pending_, word, prefix);
    }
    const std::size_t equals = word.find('=');
    if (!afterDashes_ && word.starts_with("--") && equals != std::string_view::npos) {
      const std::optional<OptionDefinition> option = find(word.substr(0, equals));
      prefix = word.substr(0, equals + 1);
      word.remove_prefix(equals + 1);
      return option && !option->value.empty() ? optionValues(*option, word, prefix) : Values();
    }
    return !afterDashes_ && word.starts_with('-') ? options() : argumentValues();
  }

private:
  void takeOption(std::string_view word) {
    const std::size_t equals = word.find('=');
    if (std::optional<OptionDefinition> option = find(word.substr(0, equals))) {
      used_.insert(used_.end(), option->names.begin(), option->names.end());
      if (equals == std::string_view::npos && takesNextWord(*option)) {
        pending_ = std::move(option);
      }
    }
  }

  std::optional<OptionDefinition> find(std::string_view name) const {
    for (const CLI::Option* const each : optionsOf(*command_)) {
      OptionDefinition option = definitionOf(*each);
      if (contains(option.names, name)) {
        return option;
      }
    }
    return std::nullopt;
  }

  // The options, without those that were used and may not be repeated, and without those that exclude one that was
  // used.
  Values options() const {
    Values values;
    for (const CLI::Option* const each : optionsOf(*command_)) {
      const OptionDefinition option = definitionOf(*each);
      const auto isUsed = [&](const std::string& name) { return contains(used_, name); };
      if ((option.isRepeatable || !isUsed(option.names.back())) &&
          std::none_of(option.excludes.begin(), option.excludes.end(), isUsed)) {
        values.candidates.push_back({option.names.back(), option.description});
      }
    }
    return values;
  }

  static Values optionValues(const OptionDefinition& option, std::string_view& word, std::string& prefix) {
    Values values = valuesOf(option.value);
    for (const std::string& choice : option.choices) {
      values.candidates.push_back({choice, {}});
    }
    if (option.value.ends_with(",...")) { // a list, of which the last item is completed
      const std::size_t begin = word.rfind(',') + 1;
      prefix += word.substr(0, begin);
      word.remove_prefix(begin);
    }
    return values;
  }

  Values argumentValues() const {
    if (command_->get_name() == helpCommand && !afterDashes_) {
      const CLI::App* named = root_;
      for (const std::string_view argument : arguments_) {
        named = named != nullptr ? subcommandOf(*named, argument) : nullptr;
      }
      return named != nullptr ? subcommands(*named) : Values();
    }
    if (!subcommandsOf(*command_).empty()) {
      return arguments_.empty() ? subcommands(*command_) : Values();
    }
    std::size_t index = arguments_.size();
    for (const CLI::Option* const each : positionalsOf(*command_)) {
      const OptionDefinition argument = definitionOf(*each);
      if (argument.isRepeatable || index-- == 0) {
        return valuesOf(argument.value);
      }
    }
    return afterDashes_ ? Values() : options();
  }

  static Values subcommands(const CLI::App& command) {
    Values values;
    for (const CLI::App* const each : subcommandsOf(command)) {
      values.candidates.push_back({each->get_name(), each->get_description()});
    }
    return values;
  }

  const CLI::App* root_;
  const CLI::App* command_;
  std::optional<OptionDefinition> pending_; // takes the next word as its value
  std::vector<std::string_view> arguments_; // of command_, without options
  std::vector<std::string> used_;           // names of options
  bool afterDashes_ = false;                // no more options
};

std::string_view nameOf(Paths paths) {
  switch (paths) {
  case Paths::none:
    return "none";
  case Paths::files:
    return "files";
  case Paths::folders:
    return "folders";
  }
  return "none";
}

bool beginsWith(std::string_view text, std::string_view word) {
  return formats::equalIgnoringCase(text.substr(0, word.size()), word);
}

} // namespace

std::string completionsFor(const CLI::App& app, std::span<const std::string_view> words) {
  Line line(app);
  std::string_view last;
  if (!words.empty()) {
    last = words.back();
    for (const std::string_view word : words.first(words.size() - 1)) {
      line.take(word);
    }
  }
  std::string prefix;
  const Values values = line.valuesFor(last, prefix);
  std::string answer = fmt::format("{}\t{}\n", nameOf(values.paths), prefix);
  for (const Candidate& candidate : values.candidates) {
    if (beginsWith(candidate.text, last)) {
      answer += fmt::format("{}\t{}\n", candidate.text, candidate.description);
    }
  }
  return answer;
}

} // namespace vel::stat
