// Repeats scenes, or draws random records, until the buffer is full.
#include "synthetic/record_stream.h"

namespace vel::synthetic {

void FlowStream::beginRound() {
  for (; changed_ < changes_.size() && changes_[changed_].after <= recorded_; ++changed_) {
    const Change& change = changes_[changed_];
    scene_ = change.scene != nullptr ? *change.scene : scene_;
    recorder_.set(change.clock.value_or(recorder_.clock()), change.sequence.value_or(recorder_.sequence()));
  }
  recorder_.records().clear();
  taken_ = 0;
  scene_.record(recorder_);
  recorded_ += recorder_.records().size();
}

void FlowStream::fill(std::span<_VelProfileReport> records) {
  for (_VelProfileReport& record : records) {
    while (taken_ == recorder_.records().size()) {
      beginRound();
    }
    record = recorder_.records()[taken_++];
  }
}

void RandomStream::fill(std::span<_VelProfileReport> records) {
  for (_VelProfileReport& record : records) {
    unsigned char* const bytes = reinterpret_cast<unsigned char*>(&record);
    for (std::size_t i = 0; i < sizeof record; i += sizeof(std::uint64_t)) {
      std::uint64_t word = random_.next();
      for (std::size_t j = 0; j < sizeof word; ++j, word >>= 8) {
        bytes[i + j] = static_cast<unsigned char>(word);
      }
    }
    record.type = static_cast<std::uint8_t>(random_.below(15));
    record.event = static_cast<std::uint8_t>(random_.below(21));
    record.component = static_cast<std::uint8_t>(random_.below(9));
    record.category = static_cast<std::uint8_t>(random_.below(12));
    if (record.type == 10 && !random_.oneIn(4)) { // otherwise hardly any context would have a version that is decoded
      record.payload[0] = static_cast<std::uint8_t>(random_.below(9));
      record.payload[1] = 0;
    }
  }
}

} // namespace vel::synthetic
