// Describes values in a few words.
#include "velstat/diff/line.h"

#include <velstat/text/escape.h>
#include <velstat/text/number_text.h>
#include <velstat/text/table.h>
#include <velstat/text/tree.h>

#include <fmt/format.h>

#include <algorithm>
#include <utility>
#include <vector>

namespace vel::stat {

namespace {

constexpr std::size_t shortLength = 60; // of a value, in columns

Mark markOf(bool before, bool after, const Style& style) {
  return !after ? style.red() : !before ? style.green() : Mark{};
}

const char* signOf(bool before, bool after) {
  return !after ? "- " : !before ? "+ " : "~ ";
}

std::string shortText(const formats::Value& value);

// The first members, as many as fit: "usages 0x0c/0x01, opened true".
std::string membersText(const formats::Dictionary& members) {
  std::string all;
  for (const formats::Member& member : members) {
    all += (all.empty() ? "" : ", ") + escapeKey(member.key) + ' ' + shortText(member.value);
    if (columns(all) > shortLength) {
      break;
    }
  }
  return cut(std::move(all), shortLength);
}

std::string shortText(const formats::Value& value) {
  if (!isLeaf(value)) {
    const auto* members = value.as<formats::Dictionary>();
    return members != nullptr ? membersText(*members) : countText(value.as<formats::Array>()->size(), "item");
  }
  const auto* text = value.as<std::string>();
  constexpr std::size_t looked = 256; // more than fits in a line
  const bool isLong = text != nullptr && text->size() > looked;
  return cut(isLong ? escape(std::string_view(*text).substr(0, looked)) : leafText(value), shortLength);
}

std::vector<std::string_view> wordsOf(std::string_view text) {
  std::vector<std::string_view> words;
  for (std::size_t begin = 0; begin <= text.size();) {
    const std::size_t end = std::min(text.find(' ', begin), text.size());
    words.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  return words;
}

std::string joined(const std::vector<std::string_view>& words, const std::vector<std::size_t>& chosen) {
  std::string text;
  for (std::size_t i = 0; i < chosen.size(); ++i) {
    const bool follows = chosen[i] == (i == 0 ? 0 : chosen[i - 1] + 1);
    text += (i == 0 ? "" : " ") + std::string(follows ? "" : "… ") + std::string(words[chosen[i]]);
  }
  return text + (!chosen.empty() && chosen.back() + 1 != words.size() ? " …" : "");
}

// If both texts have the same number of words, only the words that differ, or only the notable ones of these if there
// are any. Otherwise the beginnings of the texts.
std::pair<std::string, std::string> differingWords(const std::string& before, const std::string& after) {
  constexpr std::size_t longest = 4096; // longer texts are not compared by word
  constexpr std::size_t shown = 256;    // more than fits in a line
  const std::pair<std::string, std::string> beginnings(before.substr(0, shown), after.substr(0, shown));
  if (std::max(before.size(), after.size()) > longest) {
    return beginnings;
  }
  const std::vector<std::string_view> words = wordsOf(before);
  const std::vector<std::string_view> others = wordsOf(after);
  if (words.size() != others.size()) {
    return beginnings;
  }
  std::vector<std::size_t> different;
  std::vector<std::size_t> notable;
  for (std::size_t i = 0; i < words.size(); ++i) {
    if (words[i] != others[i]) {
      different.push_back(i);
      const formats::Value word{std::string(words[i])};
      const formats::Value other{std::string(others[i])};
      if (isNotable(&word, &other)) {
        notable.push_back(i);
      }
    }
  }
  const std::vector<std::size_t>& chosen = notable.empty() ? different : notable;
  return {joined(words, chosen), joined(others, chosen)};
}

} // namespace

// The first difference of two long runs of bytes; a leaf's text only shows their beginning.
std::string dataText(const formats::Bytes& before, const formats::Bytes& after) {
  const auto parting = std::mismatch(before.begin(), before.end(), after.begin(), after.end()).first;
  return fmt::format("<{} bytes> → <{} bytes>, the same up to byte {}", before.size(), after.size(),
                     parting - before.begin());
}

DiffLine lineOf(std::string_view path, const formats::Value* before, const formats::Value* after, const Style& style) {
  DiffLine line{.sign = signOf(before != nullptr, after != nullptr),
                .path = path.empty() ? "(whole value)" : escapeKey(path),
                .mark = markOf(before != nullptr, after != nullptr, style)};
  if (before == nullptr || after == nullptr) {
    line.text = shortText(before != nullptr ? *before : *after);
    return line;
  }
  if (const auto* data = before->as<formats::Bytes>(), *other = after->as<formats::Bytes>(); data && other) {
    line.text = dataText(*data, *other);
    return line;
  }
  if (const auto* text = before->as<std::string>(), *other = after->as<std::string>(); text && other) {
    const auto [words, otherWords] = differingWords(*text, *other);
    line.text = shortText({words});
    line.after = shortText({otherWords});
    return line;
  }
  const bool typed = before->content.index() != after->content.index();
  const auto describe = [&](const formats::Value& value) {
    return (typed ? std::string(value.typeName()) + ' ' : std::string()) + shortText(value);
  };
  line.text = describe(*before);
  line.after = describe(*after);
  return line;
}

DiffLine lineOf(const Difference& difference, const Style& style) {
  const bool before = difference.before.has_value();
  const bool after = difference.after.has_value();
  // A finding is shown without its path: the text is enough, and needs the room. New findings are red, not green.
  const bool isFinding = difference.section == Section::findings;
  return {.sign = signOf(before, after),
          .path = isFinding ? "" : escapeKey(difference.path),
          .text = difference.text,
          .mark = isFinding ? markOf(after, before, style) : markOf(before, after, style)};
}

} // namespace vel::stat
