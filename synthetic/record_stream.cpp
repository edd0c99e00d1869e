// The mix of flows, and records without any.
#include <synthetic/record_stream.h>

#include <synthetic/flows.h>

namespace vel::synthetic {

void FlowStream::recordNextFlow() {
  Random& random = recorder_.random();
  const std::uint32_t choice = random.below(100);
  if (choice < 35) {
    functionTimings(recorder_);
  } else if (choice < 60) {
    sensorBatch(recorder_);
  } else if (choice < 75) {
    interrupt(recorder_);
  } else if (choice < 83) {
    busTransfer(recorder_);
  } else if (choice < 90) {
    uartPacket(recorder_);
  } else if (choice < 94) {
    const unsigned clicks = random.between(1, 3);
    const bool isLong = random.oneIn(6);
    press(recorder_, {clicks, isLong});
  } else if (choice < 98) {
    housekeeping(recorder_);
  } else {
    sensorSetUp(recorder_);
  }
}

void FlowStream::fill(std::span<_VelProfileReport> records) {
  for (_VelProfileReport& record : records) {
    while (taken_ == recorder_.records().size()) {
      recorder_.records().clear();
      taken_ = 0;
      recordNextFlow();
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
    if (record.type == 10 && !random_.oneIn(4)) { // else hardly any context would have a version that is decoded
      record.payload[0] = static_cast<std::uint8_t>(random_.below(9));
      record.payload[1] = 0;
    }
  }
}

} // namespace vel::synthetic
