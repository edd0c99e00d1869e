// Quotes, separates and indents.
#include "velstat/text/json_writer.h"

#include <velstat/text/escape.h>
#include <velstat/text/number_text.h>

#include <fmt/format.h>

#include <cmath>
#include <iterator>

namespace vel::stat {

namespace {

void appendQuoted(std::string& out, std::string_view text) {
  out += '"';
  while (!text.empty()) {
    const CodePoint point = decodeUTF8(text);
    if (!point.valid) {
      out += "\xEF\xBF\xBD";
    } else if (point.value == '"' || point.value == '\\') {
      out += '\\';
      out += text[0];
    } else if (point.value == '\n') {
      out += "\\n";
    } else if (point.value < 0x20 || point.value == 0x7F) {
      fmt::format_to(std::back_inserter(out), "\\u{:04x}", point.value);
    } else {
      out += text.substr(0, point.length);
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
    std::string hex;
    for (const std::byte byte : bytes) {
      fmt::format_to(std::back_inserter(hex), "{:02x}", std::to_integer<unsigned>(byte));
    }
    writer.beginObject();
    writer.member("$data", hex);
    writer.endObject();
  }
};

} // namespace

void JsonWriter::newLine() {
  if (form_ == Form::indented) {
    out_ += '\n';
    out_.append(2 * hasItems_.size(), ' ');
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

void JsonWriter::integer(std::int64_t number) {
  separate();
  fmt::format_to(std::back_inserter(out_), "{}", number);
}

void JsonWriter::real(double number) {
  separate();
  out_ += std::isfinite(number) ? realText(number) : "null";
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
