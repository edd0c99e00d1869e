// Parses path patterns, and finds what they match.
#include "velstat/text/value_path.h"

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace vel::stat {

namespace {

// Splits at each "/" that is not escaped by a backslash. Escapes are kept for the globs.
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

std::string unescaped(std::string_view segment) {
  std::string key;
  for (std::size_t i = 0; i < segment.size(); ++i) {
    i += segment[i] == '\\' && i + 1 < segment.size() ? 1 : 0;
    key += segment[i];
  }
  return key;
}

} // namespace

PathPattern::PathPattern(const std::string& text) : text_(text) {
  for (const std::string& segment : splitPath(text)) {
    segments_.push_back({segment == "**", Wildcard(segment)});
  }
}

std::string checkPath(const std::string& text) {
  try {
    const PathPattern pattern(text);
  } catch (const std::invalid_argument& error) {
    return fmt::format("'{}' has {}", text, error.what());
  }
  return {};
}

// The segments of each pattern that the next key may match.
class Places {
public:
  explicit Places(std::span<const PathPattern> patterns) : patterns_(patterns) {
    for (std::size_t i = 0; i < patterns.size(); ++i) {
      add(i, 0);
    }
  }

  bool isEmpty() const { return places_.empty(); }

  // Calls `take` with each pattern that matches the keys so far.
  template <class Take>
  void eachMatch(Take take) const {
    for (const auto& [pattern, segment] : places_) {
      if (segment == patterns_[pattern].segments_.size()) {
        take(pattern);
      }
    }
  }

  // The places for what is inside `key`. Patterns that have already matched have none.
  Places inside(std::string_view key) const {
    Places inner{patterns_, {}};
    for (const auto& [pattern, segment] : places_) {
      if (segment == patterns_[pattern].segments_.size()) {
        continue;
      }
      const PathPattern::Segment& wanted = patterns_[pattern].segments_[segment];
      if (wanted.anyNumber) {
        inner.add(pattern, segment);
      } else if (wanted.glob.matches(key)) {
        inner.add(pattern, segment + 1);
      }
    }
    return inner;
  }

private:
  using Place = std::pair<std::size_t, std::size_t>; // pattern, segment

  Places(std::span<const PathPattern> patterns, std::vector<Place> places)
      : patterns_(patterns), places_(std::move(places)) {}

  // "**" also matches no segment at all.
  void add(std::size_t pattern, std::size_t segment) {
    const auto& segments = patterns_[pattern].segments_;
    for (;; ++segment) {
      if (std::find(places_.begin(), places_.end(), Place(pattern, segment)) != places_.end()) {
        return;
      }
      places_.emplace_back(pattern, segment);
      if (segment == segments.size() || !segments[segment].anyNumber) {
        return;
      }
    }
  }

  std::span<const PathPattern> patterns_;
  std::vector<Place> places_;
};

// Walks the tree once.
class PathSearch {
public:
  PathSearch(std::span<const PathPattern> patterns, const TakeMatch& take)
      : patterns_(patterns), take_(take), found_(patterns.size()) {}

  std::vector<bool> run(const formats::Value& value, std::optional<std::string_view> key) {
    const Places places(patterns_);
    if (key) {
      descend(*key, value, places);
    } else {
      visit(value, places);
    }
    return std::move(found_);
  }

private:
  void visit(const formats::Value& value, const Places& places) {
    bool matched = false;
    places.eachMatch([&](std::size_t pattern) {
      found_[pattern] = true;
      matched = true;
    });
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
    const Places inner = places.inside(key);
    if (!inner.isEmpty()) {
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

std::vector<bool> findPaths(const formats::Value& value, std::span<const PathPattern> patterns, const TakeMatch& take,
                            std::optional<std::string_view> key) {
  return PathSearch(patterns, take).run(value, key);
}

bool covers(std::span<const PathPattern> patterns, std::string_view path) {
  if (patterns.empty()) { // the usual case, and splitting a long path takes time
    return false;
  }
  Places places(patterns);
  for (const std::string& segment : splitPath(path)) {
    places = places.inside(unescaped(segment));
    bool matched = false;
    places.eachMatch([&](std::size_t) { matched = true; });
    if (matched || places.isEmpty()) {
      return matched;
    }
  }
  return false;
}

} // namespace vel::stat
