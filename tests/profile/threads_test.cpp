// Decoders and renderers on many threads at once.
#include "given_times.h"
#include "sample_records.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

using namespace vel::profile;

TEST(Threads, EightDecodeTheSameRecordsAtOnce) {
  constexpr std::size_t count = 500;
  RandomRecords random(12);
  std::vector<Record> records;
  std::vector<std::string> expected;
  const TimePolicy times = {TimeSync{0, 1'700'000'000'000'000'000}, std::nullopt};
  std::vector<std::string> expected_with_times;
  for (std::size_t i = 0; i < count; ++i) {
    records.push_back(random.next());
    expected.push_back(text_of(records.back()));
    char block[frame_capacity];
    BulkRenderer renderer(times, Framing::none);
    expected_with_times.emplace_back(block, renderer.render(records.back().bytes, 1, block));
  }

  std::atomic<unsigned> differences = 0;
  std::vector<std::thread> threads;
  for (std::size_t thread = 0; thread < 8; ++thread) {
    threads.emplace_back([&, thread] {
      BulkRenderer renderer(times, Framing::none);
      char block[frame_capacity];
      for (std::size_t step = 0; step < count; ++step) {
        const std::size_t i = (step + thread * 61) % count;
        differences += text_of(records[i]) != expected[i];
        differences += std::string_view(block, renderer.render(records[i].bytes, 1, block)) != expected_with_times[i];
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(differences, 0U);
}

} // namespace
