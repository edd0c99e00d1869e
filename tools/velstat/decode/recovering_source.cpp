// The recovering source: slides a window over each file and reports each damage once, when its end is known.
#include "record_source.h"

#include "recovery.h"
#include "renderer.h"

#include <fmt/format.h>

#include <cstring>
#include <vector>

namespace vel::decode {

namespace {

class RecoveringSource final : public RecordSource {
public:
  RecoveringSource(Input& input, Complaints& complaints)
      : input_(input), complaints_(complaints), window_(window_capacity) {}

  std::size_t read(std::span<unsigned char> out) override {
    const std::size_t capacity = out.size() / record_size;
    std::size_t count = 0;
    while (count < capacity) {
      if (!at_end_ && size() < RecordFinder::view_size) {
        if (count != 0) {
          break; // reading may wait; what there is goes first
        }
        refill();
      }
      if (size() == 0 && at_end_) {
        end_damage();
        if (!input_.next_file()) {
          break;
        }
        finder_ = {};
        front_ = end_ = 0;
        offset_ = 0;
        at_end_ = false;
        continue;
      }
      if (size() >= RecordFinder::view_size || at_end_) {
        count += take_step(out.data() + count * record_size);
      }
    }
    return count;
  }

private:
  static constexpr std::size_t window_capacity = 1 << 16;

  std::size_t size() const { return end_ - front_; }

  void refill() {
    std::memmove(window_.data(), window_.data() + front_, size());
    end_ = size();
    front_ = 0;
    const std::size_t got = input_.read(window_.data() + end_, window_.size() - end_);
    end_ += got;
    at_end_ = got == 0;
  }

  std::size_t take_step(unsigned char* out) {
    const RecordFinder::Step step = finder_.next({window_.data() + front_, size()}, at_end_);
    if (step.record) {
      end_damage();
      std::memcpy(out, window_.data() + front_, record_size);
      advance(record_size);
    }
    damage_ += step.skipped;
    advance(step.skipped);
    if (!step.goes_on) {
      end_damage();
    }
    return step.record ? 1 : 0;
  }

  void advance(std::size_t bytes) {
    front_ += bytes;
    offset_ += bytes;
  }

  void end_damage() {
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
  bool at_end_ = true; // as if a file before the first one had ended
  std::uint64_t offset_ = 0; // in the file, of the front
  std::uint64_t damage_ = 0; // bytes of the damage that ends at the front
};

} // namespace

std::unique_ptr<RecordSource> make_recovering_source(Input& input, Complaints& complaints) {
  return std::make_unique<RecoveringSource>(input, complaints);
}

} // namespace vel::decode
