// Places in a tree: "last button press/click 1/button down ts". A segment is a key of a dictionary, or a number from 0
// in an array; in keys, a backslash precedes "/" and "\".
#pragma once

#include <formats/value.h>
#include <formats/value_path.h>
#include <velstat/text/wildcard.h>

#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vel::stat {

using formats::ValuePath;

// A path with a pattern in each segment; the segment "**" matches any number of segments.
class PathPattern {
public:
  // Throws std::invalid_argument with the cause.
  explicit PathPattern(const std::string& text);

  const std::string& text() const { return text_; }

private:
  friend class Places;
  struct Segment {
    bool anyNumber;
    Wildcard glob;
  };

  std::string text_;
  std::vector<Segment> segments_;
};

// The error in a pattern, for the command line parser; empty if there is none.
std::string checkPath(const std::string& text);

// Calls `take` with path and value of each match, in the order of the tree and each value once, and returns for each
// pattern whether it matched anything. A value inside a match is not matched again. With `key`, all paths begin with
// it.
using TakeMatch = std::function<void(std::string_view path, const formats::Value& value)>;
std::vector<bool> findPaths(const formats::Value& value, std::span<const PathPattern> patterns, const TakeMatch& take,
                            std::optional<std::string_view> key = {});

// Whether a pattern matches the path, or a beginning of it that ends before a slash: findPaths, given the whole tree,
// would take the value at the path or one around it. The path has the form that ValuePath gives.
bool covers(std::span<const PathPattern> patterns, std::string_view path);

} // namespace vel::stat
