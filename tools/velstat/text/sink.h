// Where rendered text goes: to standard output or into a string, or it is only measured.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

namespace vel::stat {

class Sink {
public:
  Sink() = default;
  virtual ~Sink() = default;
  Sink(const Sink&) = delete;
  Sink& operator=(const Sink&) = delete;

  virtual void append(std::string_view text) = 0;

  Sink& operator+=(std::string_view text) {
    append(text);
    return *this;
  }
  Sink& operator+=(char character) { return *this += std::string_view(&character, 1); }
  void blanks(std::size_t count);
};

class StringSink final : public Sink {
public:
  void append(std::string_view text) override { text_ += text; }
  const std::string& text() const { return text_; }
  std::string take() { return std::move(text_); }

private:
  std::string text_;
};

// Passes text on in blocks; flush() passes on the last one.
class BlockSink : public Sink {
public:
  void append(std::string_view text) override;
  void flush();

private:
  virtual void write(std::string_view block) = 0;

  std::string block_;
};

// Throws like writeStandardOutput.
class StandardOutput final : public BlockSink {
  void write(std::string_view block) override;
};

// Some inputs describe far more than they contain: objects of a property list may be shared, and keys are repeated in
// paths. The output for an input may take at most this many times its size.
constexpr std::size_t mostExpansion = 64;

class TooLong : public std::runtime_error {
public:
  TooLong() : std::runtime_error("the output is too long for its input") {}
};

// Keeps only the length. Throws TooLong as soon as it exceeds the limit, so that a rendering can be refused before any
// of it is written.
class Measure final : public Sink {
public:
  explicit Measure(std::size_t limit) : limit_(limit) {}
  void append(std::string_view text) override;
  std::size_t length() const { return length_; }

private:
  const std::size_t limit_;
  std::size_t length_ = 0;
};

} // namespace vel::stat
