// Reads the header line by line.
#include "query/sql_header.h"

#include <formats/nearest_name.h>

#include <fmt/format.h>

#include <algorithm>

namespace vel::query {

namespace {

[[noreturn]] void fail(const std::string& file, std::size_t line, const std::string& cause) {
  throw Error(fmt::format("{}: line {}: {}", file, line, cause));
}

// Reads the comments at the beginning of a file.
class HeaderReader {
public:
  HeaderReader(const std::string& file, const HeaderKeys& keys) : file_(file), keys_(keys) {}

  std::vector<HeaderEntry> read(std::string_view content) {
    for (std::size_t begin = 0; begin < content.size();) {
      const std::size_t end = std::min(content.find('\n', begin), content.size());
      const std::string_view line = content.substr(begin, end - begin);
      if (!line.starts_with("--")) {
        break;
      }
      ++line_;
      take(line.substr(2));
      begin = end + 1;
    }
    if (line_ == 0) {
      fail(file_, 1,
           fmt::format("{} begins with comments such as '-- title: …'; {} lists them", keys_.what, keys_.document));
    }
    for (const std::size_t key : keys_.required) {
      if (find(key) == nullptr) {
        fail(file_, line_, fmt::format("the comments at the beginning have no '-- {}: …'", keys_.names[key]));
      }
    }
    return std::move(entries_);
  }

private:
  // "  more words" continues the line before, " key: words" is a new key.
  void take(std::string_view comment) {
    const std::string_view text = trimmed(comment);
    const bool continues = comment.starts_with("  ");
    if (continues && !entries_.empty()) {
      std::string& current = entries_.back().text;
      if (!text.empty()) {
        current += current.empty() ? "" : " ";
        current += text;
      }
      return;
    }
    const std::size_t colon = text.find(':');
    if (continues || colon == std::string_view::npos) {
      fail(file_, line_, "neither '-- key: words' nor the words' next line, which begins with '--' and two blanks");
    }
    begin(text.substr(0, colon), trimmed(text.substr(colon + 1)));
  }

  void begin(std::string_view name, std::string_view text) {
    const auto found = std::find(keys_.names.begin(), keys_.names.end(), name);
    if (found == keys_.names.end()) {
      constexpr std::size_t shown = 40;
      const auto nearest = formats::nearestName(name, keys_.names);
      fail(file_, line_,
           fmt::format("'{}' is unknown; {}", name.substr(0, shown),
                       nearest ? fmt::format("did you mean '{}'?", *nearest)
                               : fmt::format("the keys are {}", fmt::join(keys_.names, ", "))));
    }
    const auto key = static_cast<std::size_t>(found - keys_.names.begin());
    const bool mayRepeat = std::find(keys_.repeated.begin(), keys_.repeated.end(), key) != keys_.repeated.end();
    if (const HeaderEntry* const first = find(key); first != nullptr && !mayRepeat) {
      fail(file_, line_, fmt::format("'{}' is there twice, first in line {}", name, first->line));
    }
    entries_.push_back({key, std::string(text), line_});
  }

  const HeaderEntry* find(std::size_t key) const {
    const auto found =
        std::find_if(entries_.begin(), entries_.end(), [&](const auto& each) { return each.key == key; });
    return found == entries_.end() ? nullptr : &*found;
  }

  const std::string& file_;
  const HeaderKeys& keys_;
  std::vector<HeaderEntry> entries_; // a continuation line adds to the last one
  std::size_t line_ = 0;
};

} // namespace

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view blanks = " \t\r";
  const std::size_t begin = text.find_first_not_of(blanks);
  return begin == std::string_view::npos ? std::string_view()
                                         : text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

std::vector<HeaderEntry> readHeader(std::string_view content, const std::string& file, const HeaderKeys& keys) {
  return HeaderReader(file, keys).read(content);
}

} // namespace vel::query
