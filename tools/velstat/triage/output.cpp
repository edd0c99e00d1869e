// Findings as paragraphs, and as JSON with the same parts.
#include "velstat/triage/output.h"

#include <velstat/text/escape.h>
#include <velstat/text/number_text.h>
#include <velstat/text/wrap.h>

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace vel::stat {

namespace {

using rules::Evidence;
using rules::Finding;
using rules::Severity;

constexpr std::size_t labelWidth = 9; // "warning  "

std::string severityText(Severity severity, const Style& style) {
  std::string name = fmt::format("{:{}}", rules::severityName(severity), labelWidth);
  switch (severity) {
  case Severity::error:
    return style.red()(name);
  case Severity::warning:
    return style.yellow()(name);
  case Severity::note:
    break;
  }
  return name;
}

// "good/001-ZORB Statistics.state: last button press/click count", "log.txt, byte 4656"
std::string placeText(const Evidence& evidence) {
  std::string text = evidence.file.empty() ? evidence.source : evidence.file;
  if (evidence.file.empty() && !evidence.title.empty()) {
    text += fmt::format(", '{}'", evidence.title);
  }
  if (!evidence.path.empty()) {
    text += fmt::format(": {}", evidence.path);
  }
  if (evidence.position) {
    text += evidence.report ? fmt::format(", line {}", *evidence.position + 1)
                            : fmt::format(", byte {}", *evidence.position);
  }
  return text;
}

void appendPart(Sink& out, std::string_view label, std::string_view words, std::size_t width, const Style& style) {
  out += style.dim(fmt::format("{:{}}", label, labelWidth));
  appendWrapped(out, escape(words), labelWidth, width);
  out += '\n';
}

std::string moreText(const Finding& finding) {
  return fmt::format("… and {} more of this kind", finding.more);
}

} // namespace

std::size_t textWidth() {
  constexpr std::size_t widest = 100;
  constexpr std::size_t usual = 80;
  const std::size_t width = outputWidth();
  return width == 0 ? usual : std::min(width, widest);
}

std::string countsText(std::span<const Finding> findings) {
  std::array<std::size_t, 3> counts{};
  for (const Finding& finding : findings) {
    counts[static_cast<std::size_t>(finding.severity)] += 1 + finding.more;
  }
  if (findings.empty()) {
    return "nothing found";
  }
  std::string text;
  for (const Severity severity : {Severity::error, Severity::warning, Severity::note}) {
    if (const std::size_t count = counts[static_cast<std::size_t>(severity)]; count != 0) {
      text += text.empty() ? "" : ", ";
      text += countText(count, rules::severityName(severity));
    }
  }
  return text;
}

void writeFindings(Sink& out, std::span<const Finding> findings, std::size_t width, const Style& style) {
  for (auto first = findings.begin(); first != findings.end();) {
    const auto end = std::find_if(first, findings.end(), [&](const Finding& each) { return each.rule != first->rule; });
    out += '\n' + severityText(first->severity, style);
    out += style.bold(escape(first->rule)) + '\n';
    for (auto finding = first; finding != end; ++finding) {
      appendPart(out, "", finding->text, width, style);
      if (finding->more != 0) {
        appendPart(out, "", moreText(*finding), width, style);
      }
      const std::string place = placeText(finding->evidence);
      if (finding + 1 == end ||
          place != placeText(finding[1].evidence)) { // shown once for consecutive findings with the same place
        appendPart(out, "  where", place, width, style);
      }
    }
    appendPart(out, "  why", first->why, width, style);
    appendPart(out, "  next", first->next, width, style);
    first = end;
  }
}

void writeFindingsBriefly(Sink& out, std::span<const Finding> findings, std::size_t width, const Style& style) {
  constexpr std::size_t indent = 2;
  for (const Finding& finding : findings) {
    out.blanks(indent);
    out += severityText(finding.severity, style);
    appendWrapped(out, escape(finding.text), indent + labelWidth, width);
    out += '\n';
  }
}

void writeWords(JsonWriter& json, const Finding& finding) {
  json.member("rule", finding.rule);
  json.member("severity", rules::severityName(finding.severity));
  json.member("text", finding.text);
  json.member("why", finding.why);
  json.member("next", finding.next);
}

void writeFindings(JsonWriter& json, std::span<const Finding> findings) {
  json.beginArray();
  for (const Finding& finding : findings) {
    json.beginObject();
    writeWords(json, finding);
    json.key("evidence");
    json.beginObject();
    json.member("source", finding.evidence.source);
    if (finding.evidence.report) {
      json.member("report", *finding.evidence.report);
    }
    if (!finding.evidence.title.empty()) {
      json.member("title", finding.evidence.title);
    }
    if (!finding.evidence.file.empty()) {
      json.member("file", finding.evidence.file);
    }
    if (!finding.evidence.path.empty()) {
      json.member("path", finding.evidence.path);
    }
    if (finding.evidence.position) {
      json.member("position", *finding.evidence.position);
    }
    json.endObject();
    if (finding.more != 0) {
      json.member("more", finding.more);
    }
    json.endObject();
  }
  json.endArray();
}

} // namespace vel::stat
