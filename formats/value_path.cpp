// Appends keys to one text, and removes them from its end.
#include "formats/value_path.h"

namespace vel::formats {

void ValuePath::push(std::string_view key) {
  const bool first = lengths_.empty();
  lengths_.push_back(text_.size());
  text_ += first ? "" : "/";
  for (const char c : key) {
    text_ += c == '/' || c == '\\' ? "\\" : "";
    text_ += c;
  }
}

void ValuePath::pop() {
  text_.resize(lengths_.back());
  lengths_.pop_back();
}

} // namespace vel::formats
