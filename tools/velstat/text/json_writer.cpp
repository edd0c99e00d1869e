// Quotes, separates and indents.
#include "velstat/text/json_writer.h"

#include <control/printable.h>
#include <velstat/text/escape.h>
#include <velstat/text/number_text.h>

#include <fmt/format.h>

#include <cmath>

namespace vel::stat {

namespace {

// A character as one \u escape, or as two if it needs more than 16 bits.
std::string numbered(std::uint32_t character) {
  if (character < 0x10000) {
    return fmt::format("\\u{:04x}", character);
  }
  return fmt::format("\\u{:04x}\\u{:04x}", 0xD7C0 + (character >> 10), 0xDC00 + (character & 0x3FF));
}

void appendQuoted(Sink& out, std::string_view text) {
  out += '"';
  while (!text.empty()) {
    if (const std::size_t plain = plainLength(text, '"', '\\'); plain != 0) {
      out += text.substr(0, plain);
      text.remove_prefix(plain);
      continue;
    }
    const CodePoint point = decodeUTF8(text);
    if (!point.valid) {
      out += "\xEF\xBF\xBD";
    } else if (point.value == '"' || point.value == '\\') {
      out += '\\';
      out += text[0];
    } else if (point.value == '\n') {
      out += "\\n";
    } else if (control::isPrintable(point.value)) {
      out += text.substr(0, point.length);
    } else {
      out += numbered(point.value);
    }
    text.remove_prefix(point.length);
  }
  out += '"';
}

struct WriteValue {
  JsonWriter& writer;

  void operator()(const formats::Dictionary& members) const {
    writer.beginObject();
    for (const formats::Member& member : members) {
      writer.key(member.key);
      writer.value(member.value);
    }
    writer.endObject();
  }
  void operator()(const formats::Array& values) const {
    writer.beginArray();
    for (const formats::Value& value : values) {
      writer.value(value);
    }
    writer.endArray();
  }
  void operator()(const std::string& text) const { writer.string(text); }
  void operator()(std::int64_t number) const { writer.integer(number); }
  void operator()(double number) const { writer.real(number); }
  void operator()(bool flag) const { writer.boolean(flag); }
  void operator()(const formats::Bytes& bytes) const {
    writer.beginObject();
    writer.key("$data");
    writer.hex(bytes);
    writer.endObject();
  }
};

} // namespace

void JsonWriter::newLine() {
  if (form_ == Form::indented) {
    out_ += '\n';
    out_.blanks(2 * hasItems_.size());
  }
}

void JsonWriter::separate() {
  if (afterKey_) {
    afterKey_ = false;
  } else if (!hasItems_.empty()) {
    if (hasItems_.back()) {
      out_ += form_ == Form::indented ? "," : ", ";
    }
    hasItems_.back() = true;
    newLine();
  }
}

void JsonWriter::open(char bracket) {
  separate();
  out_ += bracket;
  hasItems_.push_back(false);
}

void JsonWriter::close(char bracket) {
  const bool hadItems = hasItems_.back();
  hasItems_.pop_back();
  if (hadItems) {
    newLine();
  }
  out_ += bracket;
}

void JsonWriter::key(std::string_view name) {
  string(name);
  out_ += ": ";
  afterKey_ = true;
}

void JsonWriter::string(std::string_view text) {
  separate();
  appendQuoted(out_, text);
}

void JsonWriter::hex(std::span<const std::byte> bytes) {
  constexpr std::string_view digits = "0123456789abcdef";
  separate();
  out_ += '"';
  for (const std::byte byte : bytes) {
    const char pair[] = {digits[std::to_integer<unsigned>(byte) >> 4], digits[std::to_integer<unsigned>(byte) & 0xF]};
    out_ += std::string_view(pair, 2);
  }
  out_ += '"';
}

void JsonWriter::integer(std::int64_t number) {
  separate();
  out_ += fmt::format_int(number).c_str();
}

void JsonWriter::real(double number) {
  separate();
  out_ += std::isfinite(number) ? realText(number) : std::string("null");
}

void JsonWriter::boolean(bool flag) {
  separate();
  out_ += flag ? "true" : "false";
}

void JsonWriter::json(std::string_view value) {
  separate();
  out_ += value;
}

void JsonWriter::value(const formats::Value& value) {
  std::visit(WriteValue{*this}, value.content);
}

void JsonWriter::member(std::string_view name, std::string_view text) {
  key(name);
  string(text);
}

} // namespace vel::stat
