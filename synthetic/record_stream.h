// Endless streams of records from a seed: the same ones on every machine.
#pragma once

#include <synthetic/scenes.h>

#include <cstddef>
#include <optional>
#include <span>
#include <vector>

namespace vel::synthetic {

// What changes in a stream once it has recorded `after` records; the round in progress is finished first. Members that
// are not set change nothing.
struct Change {
  std::uint64_t after = 0;
  const Scene* scene = nullptr;
  std::optional<std::uint64_t> clock;
  std::optional<std::uint32_t> sequence; // of the next record
};

// Repeats a scene. The changes are in the order of `after`. [one thread at a time]
class FlowStream {
public:
  explicit FlowStream(std::uint64_t seed, const Scene& scene = usualMix(), std::uint64_t clock = Recorder::usualClock)
      : FlowStream(Recorder(seed, clock), scene, {}) {}
  FlowStream(Recorder recorder, const Scene& scene, std::vector<Change> changes)
      : recorder_(std::move(recorder)), scene_(scene), changes_(std::move(changes)) {}

  void fill(std::span<_VelProfileReport> records);

private:
  void beginRound();

  Recorder recorder_;
  Scene scene_;
  std::vector<Change> changes_;
  std::size_t changed_ = 0;    // how many of the changes have happened
  std::uint64_t recorded_ = 0; // in all rounds
  std::size_t taken_ = 0;      // of the recorder's records
};

// Random bytes with plausible ids: every named id and a few unnamed ones, equally often. [one thread at a time]
class RandomStream {
public:
  explicit RandomStream(std::uint64_t seed) : random_(seed) {}

  void fill(std::span<_VelProfileReport> records);

private:
  Random random_;
};

} // namespace vel::synthetic
