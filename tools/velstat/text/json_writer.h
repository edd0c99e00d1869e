// Writes JSON piece by piece: one valid document, indented for readers.
#pragma once

#include <formats/value.h>
#include <velstat/text/sink.h>

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace vel::stat {

// The caller opens and closes objects and arrays in pairs, and gives each member of an object its key.
class JsonWriter {
public:
  enum class Form { indented, oneLine };

  // Appends to `out`, which must outlive the writer.
  explicit JsonWriter(Sink& out, Form form = Form::indented) : out_(out), form_(form) {}

  void beginObject() { open('{'); }
  void endObject() { close('}'); }
  void beginArray() { open('['); }
  void endArray() { close(']'); }
  void key(std::string_view name);

  // Exact, but bytes that are not UTF-8 become U+FFFD. Characters that a terminal would act on, or not show, become
  // \uXXXX.
  void string(std::string_view text);
  void hex(std::span<const std::byte> bytes); // a string of hexadecimal digits
  void integer(std::int64_t number);
  void real(double number); // null for NaN and infinities, which JSON does not have
  void boolean(bool flag);
  void json(std::string_view value); // already written as JSON
  // A property list; data as {"$data": "hex"}, as in device models.
  void value(const formats::Value& value);

  // Short for a key and its value.
  void member(std::string_view name, std::string_view text);
  template <std::integral Number>
  void member(std::string_view name, Number number) {
    key(name);
    integer(static_cast<std::int64_t>(number));
  }
  // Several of them: keys and values alternate.
  template <class Value, class... Rest>
  void members(std::string_view name, const Value& value, const Rest&... rest) {
    member(name, value);
    if constexpr (sizeof...(rest) != 0) {
      members(rest...);
    }
  }

private:
  void open(char bracket);
  void close(char bracket);
  void separate();
  void newLine();

  Sink& out_;
  const Form form_;
  std::vector<bool> hasItems_; // of each open object or array
  bool afterKey_ = false;
};

} // namespace vel::stat
