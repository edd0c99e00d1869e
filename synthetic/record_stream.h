// Endless streams of records from a seed: the same ones on every machine.
#pragma once

#include <synthetic/scenes.h>

#include <cstddef>
#include <span>

namespace vel::synthetic {

// A scene, over and over. [one thread at a time]
class FlowStream {
public:
  explicit FlowStream(std::uint64_t seed, const Scene& scene = usualMix(), std::uint64_t clock = Recorder::usualClock)
      : recorder_(seed, clock), scene_(scene) {}

  void fill(std::span<_VelProfileReport> records);

private:
  Recorder recorder_;
  const Scene scene_;
  std::size_t taken_ = 0; // of the recorder's records
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
