// The recovering source: slides a window over the file and reports each damage once, when its end is known.
#include <sources/record.h>
#include <sources/record_source.h>
#include <sources/recovery.h>

#include <fmt/format.h>

#include <cstring>
#include <vector>

namespace vel::sources {

namespace {

class RecoveringSource final : public RecordSource {
public:
  RecoveringSource(Input& input, Complaints& complaints)
      : input_(input), complaints_(complaints), window_(windowCapacity) {}

  std::size_t read(std::span<unsigned char> out, std::span<std::uint64_t> offsets) override {
    const std::size_t capacity = out.size() / recordSize;
    std::size_t count = 0;
    while (count < capacity) {
      if (!atEnd_ && size() < RecordFinder::viewSize) {
        if (count != 0) {
          break; // reading may wait, so the available records go first
        }
        refill();
      }
      if (size() == 0 && atEnd_) {
        endDamage();
        break;
      }
      if (size() >= RecordFinder::viewSize || atEnd_) {
        const std::uint64_t offset = offset_;
        if (takeStep(out.data() + count * recordSize)) {
          if (count < offsets.size()) {
            offsets[count] = offset;
          }
          ++count;
        }
      }
    }
    return count;
  }

private:
  static constexpr std::size_t windowCapacity = 1 << 16;

  std::size_t size() const { return end_ - front_; }

  void refill() {
    std::memmove(window_.data(), window_.data() + front_, size());
    end_ = size();
    front_ = 0;
    const std::size_t got = input_.read(window_.data() + end_, window_.size() - end_);
    end_ += got;
    atEnd_ = got == 0;
  }

  bool takeStep(unsigned char* out) {
    const RecordFinder::Step step = finder_.next({window_.data() + front_, size()}, atEnd_);
    if (step.record) {
      endDamage();
      std::memcpy(out, window_.data() + front_, recordSize);
      advance(recordSize);
    }
    damage_ += step.skipped;
    advance(step.skipped);
    if (!step.goesOn) {
      endDamage();
    }
    return step.record;
  }

  void advance(std::size_t bytes) {
    front_ += bytes;
    offset_ += bytes;
  }

  void endDamage() {
    if (damage_ != 0) {
      complaints_.say(fmt::format("{}: offset {}: damage, {} byte{} skipped", input_.name(), offset_ - damage_, damage_,
                                  damage_ == 1 ? "" : "s"));
    }
    damage_ = 0;
  }

  Input& input_;
  Complaints& complaints_;
  RecordFinder finder_;
  std::vector<unsigned char> window_;
  std::size_t front_ = 0;
  std::size_t end_ = 0;
  bool atEnd_ = false;
  std::uint64_t offset_ = 0; // in the file, of the front
  std::uint64_t damage_ = 0; // bytes of the damage that ends at the front
};

} // namespace

std::unique_ptr<RecordSource> makeRecoveringSource(Input& input, Complaints& complaints) {
  return std::make_unique<RecoveringSource>(input, complaints);
}

} // namespace vel::sources
