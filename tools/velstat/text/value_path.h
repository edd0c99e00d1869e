// Places in a tree: "last button press/click 1/button down ts". A segment is a key of a dictionary, or a number from 0
// in an array; in keys, "/" and "\" stand behind a backslash.
#pragma once

#include <formats/value.h>
#include <velstat/text/wildcard.h>

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vel::stat {

using Keys = std::vector<std::string>;
std::string joinPath(const Keys& keys);

// A path with a glob in each segment; the segment "**" stands for any number of segments.
class PathPattern {
public:
  // Throws std::invalid_argument that says what is wrong with it.
  explicit PathPattern(const std::string& text);

  const std::string& text() const { return text_; }

private:
  friend class PathSearch;
  struct Segment {
    bool anyNumber;
    Wildcard glob;
  };

  std::string text_;
  std::vector<Segment> segments_;
};

struct PathMatch {
  std::string path;
  const formats::Value* value = nullptr; // in the tree that was searched
};

struct PathMatches {
  std::vector<PathMatch> matches; // in the order of the tree, each value once
  std::vector<bool> found;        // for each pattern, whether it matched anything
};

// Nothing is looked for inside a value that matches: it is found whole.
PathMatches findPaths(const formats::Value& value, std::span<const PathPattern> patterns);

} // namespace vel::stat
