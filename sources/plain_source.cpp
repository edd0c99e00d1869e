// The plain source: every 48 bytes are a record.
#include "sources/record_source.h"
#include <sources/record.h>

#include <fmt/format.h>

#include <cstring>

namespace vel::sources {

namespace {

class PlainSource final : public RecordSource {
public:
  PlainSource(Input& input, Complaints& complaints) : input_(input), complaints_(complaints) {}

  std::size_t read(std::span<unsigned char> out, std::span<std::uint64_t> offsets) override {
    const std::size_t capacity = out.size() / recordSize * recordSize;
    for (;;) {
      std::memcpy(out.data(), begun_, begunSize_);
      const std::size_t got = input_.read(out.data() + begunSize_, capacity - begunSize_);
      const std::size_t size = begunSize_ + got;
      if (got == 0) {
        endFile();
        return 0;
      }
      begunSize_ = size % recordSize;
      const std::size_t whole = size - begunSize_;
      std::memcpy(begun_, out.data() + whole, begunSize_);
      for (std::size_t i = 0; i < offsets.size() && i < whole / recordSize; ++i) {
        offsets[i] = offset_ + i * recordSize;
      }
      offset_ += whole;
      if (whole != 0) {
        return whole / recordSize;
      }
    }
  }

private:
  void endFile() {
    if (begunSize_ != 0 && !input_.hasFailed()) {
      complaints_.say(fmt::format("{}: offset {}: the last record is cut short, {} of {} bytes", input_.name(), offset_,
                                  begunSize_, recordSize));
    }
    begunSize_ = 0;
  }

  Input& input_;
  Complaints& complaints_;
  std::uint64_t offset_ = 0;          // in the file, of the next record
  unsigned char begun_[recordSize]{}; // the first bytes of a record that has not been read completely
  std::size_t begunSize_ = 0;
};

} // namespace

std::unique_ptr<RecordSource> makePlainSource(Input& input, Complaints& complaints) {
  return std::make_unique<PlainSource>(input, complaints);
}

} // namespace vel::sources
