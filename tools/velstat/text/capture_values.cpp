// Device, services and handlers as dictionaries.
#include "velstat/text/capture_values.h"

#include <fmt/format.h>

#include <iterator>
#include <utility>

namespace vel::stat {

namespace {

using formats::Dictionary;
using formats::Value;

std::int64_t countValue(std::size_t count) {
  return static_cast<std::int64_t>(count);
}

std::string usagesText(const sources::Service& service) {
  std::string text;
  for (const auto& [page, usage] : service.usages) {
    fmt::format_to(std::back_inserter(text), "{}{:#04x}/{:#04x}", text.empty() ? "" : " ", page, usage);
  }
  return text;
}

} // namespace

std::string UniqueNames::add(std::string_view name) {
  const auto known = seen_.find(name);
  if (known == seen_.end()) {
    seen_.emplace(name, 1);
    return std::string(name);
  }
  return fmt::format("{} ({})", name, ++known->second);
}

Value serviceValues(const sources::Capture& capture) {
  struct Answers {
    std::size_t handlers = 0;
    std::size_t answered = 0;
    std::map<std::string, std::size_t> silent; // by the result in words
  };
  std::map<std::string_view, Answers> answers;
  for (const sources::Handler& handler : capture.handlers) {
    Answers& ofService = answers[handler.service];
    ++ofService.handlers;
    if (handler.answered) {
      ++ofService.answered;
    } else {
      ++ofService.silent[handler.resultText];
    }
  }
  Dictionary services;
  UniqueNames names;
  for (const sources::Service& service : capture.services) {
    Dictionary values = {
        {"usages", {usagesText(service)}}, {"opened", {service.opened}}, {"handlers", {countValue(service.handlers)}}};
    const auto known = answers.find(service.name);
    if (known != answers.end()) {
      values.push_back({"answered", {countValue(known->second.answered)}});
      Dictionary silent;
      for (const auto& [text, count] : known->second.silent) {
        silent.push_back({text, {countValue(count)}});
      }
      if (!silent.empty()) {
        values.push_back({"not answered", {std::move(silent)}});
      }
      answers.erase(known); // services with the same name share the counts; the first one shows them
    }
    services.push_back({names.add(service.name), {std::move(values)}});
  }
  return {std::move(services)};
}

namespace {

Value handlerValues(const sources::Capture& capture) {
  Dictionary handlers;
  UniqueNames names;
  for (const sources::Handler& handler : capture.handlers) {
    Dictionary values = {{"service", {handler.service}}, {"answered", {handler.answered}}};
    if (handler.result) {
      values.push_back({"result", {fmt::format("{:#010x}", *handler.result)}});
    }
    if (!handler.resultText.empty()) {
      values.push_back({"result text", {handler.resultText}});
    }
    handlers.push_back({names.add(std::to_string(handler.number)), {std::move(values)}});
  }
  return {std::move(handlers)};
}

} // namespace

Value captureValues(const sources::Capture& capture) {
  Dictionary values;
  const std::pair<const char*, const std::string&> texts[] = {
      {"device", capture.device}, {"model", capture.model}, {"plug-in", capture.plugIn}, {"version", capture.version}};
  for (const auto& [key, text] : texts) {
    if (!text.empty()) {
      values.push_back({key, {text}});
    }
  }
  if (capture.api != 0) {
    values.push_back({"api", {std::int64_t{capture.api}}});
  }
  values.push_back({"services", serviceValues(capture)});
  values.push_back({"handlers", handlerValues(capture)});
  return {std::move(values)};
}

} // namespace vel::stat
