// The plain source: every 48 bytes are a record.
#include "record_source.h"

#include "renderer.h"

#include <fmt/format.h>

#include <cstring>

namespace vel::decode {

namespace {

class PlainSource final : public RecordSource {
public:
  PlainSource(Input& input, Complaints& complaints) : input_(input), complaints_(complaints) {}

  std::size_t read(std::span<unsigned char> out) override {
    const std::size_t capacity = out.size() / record_size * record_size;
    for (;;) {
      if (!open_) {
        open_ = input_.next_file();
        if (!open_) {
          return 0;
        }
        offset_ = 0;
      }
      std::memcpy(out.data(), begun_, begun_size_);
      const std::size_t got = input_.read(out.data() + begun_size_, capacity - begun_size_);
      const std::size_t size = begun_size_ + got;
      if (got == 0) {
        end_file();
        continue;
      }
      begun_size_ = size % record_size;
      const std::size_t whole = size - begun_size_;
      std::memcpy(begun_, out.data() + whole, begun_size_);
      offset_ += whole;
      if (whole != 0) {
        return whole / record_size;
      }
    }
  }

private:
  void end_file() {
    if (begun_size_ != 0) {
      complaints_.say(fmt::format("{}: offset {}: the last record is cut short, {} of {} bytes", input_.name(), offset_,
                                  begun_size_, record_size));
    }
    begun_size_ = 0;
    open_ = false;
  }

  Input& input_;
  Complaints& complaints_;
  bool open_ = false;
  std::uint64_t offset_ = 0;           // in the file, of the next record
  unsigned char begun_[record_size]{}; // the record of which only the first bytes have been read
  std::size_t begun_size_ = 0;
};

} // namespace

std::unique_ptr<RecordSource> make_plain_source(Input& input, Complaints& complaints) {
  return std::make_unique<PlainSource>(input, complaints);
}

} // namespace vel::decode
