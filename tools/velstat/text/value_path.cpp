// Parses path patterns, and finds the places in a tree that match.
#include "velstat/text/value_path.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace vel::stat {

namespace {

// Splits at each "/" that has no backslash before it. Escapes stay: they are the globs'.
std::vector<std::string> splitPath(std::string_view text) {
  std::vector<std::string> segments(1);
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '/') {
      segments.emplace_back();
      continue;
    }
    segments.back() += text[i];
    if (text[i] == '\\' && i + 1 < text.size()) {
      segments.back() += text[++i];
    }
  }
  return segments;
}

} // namespace

PathPattern::PathPattern(const std::string& text) : text_(text) {
  for (const std::string& segment : splitPath(text)) {
    segments_.push_back({segment == "**", Wildcard(segment)});
  }
}

// Walks the tree once, with the segments of each pattern that the next key may match.
class PathSearch {
public:
  PathSearch(std::span<const PathPattern> patterns, const TakeMatch& take)
      : patterns_(patterns), take_(take), found_(patterns.size()) {}

  std::vector<bool> run(const formats::Value& value) {
    Places places;
    for (std::size_t i = 0; i < patterns_.size(); ++i) {
      add(places, i, 0);
    }
    visit(value, places);
    return std::move(found_);
  }

private:
  using State = std::pair<std::size_t, std::size_t>; // pattern, segment
  using Places = std::vector<State>;

  // "**" also matches no segment at all.
  void add(Places& places, std::size_t pattern, std::size_t segment) const {
    const auto& segments = patterns_[pattern].segments_;
    for (;; ++segment) {
      if (std::find(places.begin(), places.end(), State(pattern, segment)) != places.end()) {
        return;
      }
      places.emplace_back(pattern, segment);
      if (segment == segments.size() || !segments[segment].anyNumber) {
        return;
      }
    }
  }

  void visit(const formats::Value& value, const Places& places) {
    bool matched = false;
    for (const auto& [pattern, segment] : places) {
      if (segment == patterns_[pattern].segments_.size()) {
        found_[pattern] = true;
        matched = true;
      }
    }
    if (matched) {
      take_(path_.text(), value);
      return;
    }
    if (const auto* members = value.as<formats::Dictionary>()) {
      for (const formats::Member& member : *members) {
        descend(member.key, member.value, places);
      }
    } else if (const auto* items = value.as<formats::Array>()) {
      for (std::size_t i = 0; i < items->size(); ++i) {
        descend(std::to_string(i), (*items)[i], places);
      }
    }
  }

  void descend(std::string_view key, const formats::Value& value, const Places& places) {
    Places inner;
    for (const auto& [pattern, segment] : places) {
      const PathPattern::Segment& wanted = patterns_[pattern].segments_[segment];
      if (wanted.anyNumber) {
        add(inner, pattern, segment);
      } else if (wanted.glob.matches(key)) {
        add(inner, pattern, segment + 1);
      }
    }
    if (!inner.empty()) {
      path_.push(key);
      visit(value, inner);
      path_.pop();
    }
  }

  const std::span<const PathPattern> patterns_;
  const TakeMatch& take_;
  ValuePath path_; // of the current value
  std::vector<bool> found_;
};

std::vector<bool> findPaths(const formats::Value& value, std::span<const PathPattern> patterns, const TakeMatch& take) {
  return PathSearch(patterns, take).run(value);
}

} // namespace vel::stat
