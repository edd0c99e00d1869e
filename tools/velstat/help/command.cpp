// velstat help: the help of a subcommand, or of velstat itself.

#include <velstat/commands.h>
#include <velstat/options/definition.h>
#include <velstat/options/help_text.h>
#include <velstat/options/wrong_usage.h>
#include <velstat/text/json_writer.h>
#include <velstat/text/output.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <memory>
#include <span>
#include <string>
#include <vector>

namespace vel::stat {

namespace {

struct HelpOptions {
  std::vector<std::string> names;
  std::string format = "text";
};

void writeTexts(JsonWriter& json, std::string_view key, std::span<const std::string> texts) {
  if (!texts.empty()) {
    json.key(key);
    json.beginArray();
    for (const std::string& text : texts) {
      json.string(text);
    }
    json.endArray();
  }
}

void writeOption(JsonWriter& json, const OptionDefinition& option) {
  json.beginObject();
  writeTexts(json, "names", option.names);
  if (!option.value.empty()) {
    json.member("value", option.value);
    json.key("value optional");
    json.boolean(option.isValueOptional);
  }
  writeTexts(json, "choices", option.choices);
  if (!option.fallback.empty()) {
    json.member("default", option.fallback);
  }
  json.key("required");
  json.boolean(option.isRequired);
  json.key("repeatable");
  json.boolean(option.isRepeatable);
  writeTexts(json, "not with", option.excludes);
  writeTexts(json, "only with", option.needs);
  json.members("description", option.description, "group", option.group);
  json.endObject();
}

void writeOptions(JsonWriter& json, std::string_view key, std::span<const CLI::Option* const> options) {
  json.key(key);
  json.beginArray();
  for (const CLI::Option* const option : options) {
    writeOption(json, definitionOf(*option));
  }
  json.endArray();
}

void writeCommand(JsonWriter& json, const CLI::App& command, const std::string& name) {
  json.beginObject();
  json.members("name", name, "description", command.get_description(), "notes", command.get_footer());
  writeOptions(json, "arguments", positionalsOf(command));
  writeOptions(json, "options", optionsOf(command));
  json.key("subcommands");
  json.beginArray();
  for (const CLI::App* const subcommand : subcommandsOf(command)) {
    writeCommand(json, *subcommand, name + ' ' + subcommand->get_name());
  }
  json.endArray();
  json.endObject();
}

void run(const CLI::App& app, const HelpOptions& options) {
  const CLI::App* named = &app;
  std::string usage = app.get_name();
  for (const std::string& name : options.names) {
    named = &subcommandNamed(*named, name);
    usage += ' ' + name;
  }
  if (options.format == "json") {
    StandardOutput out;
    JsonWriter json(out);
    writeCommand(json, *named, usage);
    out += '\n';
    out.flush();
  } else {
    writeStandardOutput(helpText(named->get_formatter()->make_help(named, usage, CLI::AppFormatMode::Normal)));
  }
}

} // namespace

void addHelp(CLI::App& app, int& status) {
  auto options = std::make_shared<HelpOptions>();
  CLI::App* const command = app.add_subcommand("help", "Show the help of a subcommand, as its --help does");
  command->add_option("subcommand", options->names, "Its name, and that of a part of it; without one: velstat itself")
      ->type_name("SUBCOMMAND");
  command->add_option("--format", options->format, "json: commands, options and defaults for programs")
      ->check(CLI::IsMember({"text", "json"}))
      ->capture_default_str();
  command->footer("Examples:\n"
                  "  velstat help capture\n"
                  "  velstat help generate records\n"
                  "  velstat help --format json");
  command->callback([&app, options, &status] {
    run(app, *options);
    status = 0;
  });
}

} // namespace vel::stat
