// Many threads, one order; what goes wrong in one of them ends all.
#include <sources/input.h>
#include <sources/record.h>
#include <synthetic/record_stream.h>
#include <velstat/decode/pipeline.h>
#include <velstat/decode/text_renderer.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <stdexcept>
#include <string>
#include <thread>
#include <unistd.h>

namespace vel::stat {

using namespace sources;

namespace {

// Units that carry their number and nothing else.
struct Numbers {
  explicit Numbers(std::size_t last) : end(last) {}

  Stages stages() {
    return {
        .read =
            [this](Unit& unit) {
              unit.count = ++readUnits;
              return readUnits <= end;
            },
        .makeRender =
            [this] {
              return [this](Unit& unit) {
                render(unit.count);
                unit.out.appendNumber(unit.count);
                unit.out.append(' ');
              };
            },
        .write =
            [this](std::string_view text) {
              write(text);
              written += text;
            },
    };
  }

  std::size_t end;
  std::size_t readUnits = 0;
  std::function<void(std::size_t)> render = [](std::size_t) {};
  std::function<void(std::string_view)> write = [](std::string_view) {};
  std::string written;
};

std::string upTo(std::size_t last) {
  std::string text;
  for (std::size_t i = 1; i <= last; ++i) {
    text += std::to_string(i) + ' ';
  }
  return text;
}

class Jobs : public testing::TestWithParam<unsigned> {};

TEST_P(Jobs, WriteInTheOrderOfReading) {
  for (const std::size_t count : {0, 1, 2, 1000}) {
    Numbers numbers(count);
    // Some units take longer than others.
    numbers.render = [](std::size_t number) {
      for (std::size_t i = 0; i < number % 7; ++i) {
        std::this_thread::yield();
      }
    };
    runInOrder(GetParam(), numbers.stages());
    EXPECT_EQ(numbers.written, upTo(count));
  }
}

TEST_P(Jobs, SlowOutput_HoldsReadingBack) {
  Numbers numbers(500);
  std::atomic<std::size_t> readAhead = 0;
  std::size_t writes = 0;
  numbers.render = [&](std::size_t number) { readAhead = std::max(readAhead.load(), number); };
  std::size_t farthest = 0;
  numbers.write = [&](std::string_view) {
    for (int i = 0; i < 20; ++i) {
      std::this_thread::yield();
    }
    farthest = std::max(farthest, readAhead - writes);
    ++writes;
  };
  runInOrder(GetParam(), numbers.stages());
  EXPECT_EQ(numbers.written, upTo(500));
  EXPECT_LE(farthest, GetParam() + 6) << "more units than the pool has";
}

TEST_P(Jobs, ExceptionWhileWriting_EndsTheWork) {
  Numbers numbers(100000);
  numbers.write = [](std::string_view text) {
    if (text == "50 ") {
      throw std::runtime_error("gone");
    }
  };
  EXPECT_THROW(runInOrder(GetParam(), numbers.stages()), std::runtime_error);
  EXPECT_EQ(numbers.written, upTo(49));
  EXPECT_LT(numbers.readUnits, 1000U);
}

TEST_P(Jobs, ExceptionWhileRendering_EndsTheWork) {
  Numbers numbers(100000);
  numbers.render = [](std::size_t number) {
    if (number == 50) {
      throw std::runtime_error("no memory");
    }
  };
  EXPECT_THROW(runInOrder(GetParam(), numbers.stages()), std::runtime_error);
  EXPECT_EQ(numbers.written, upTo(49).substr(0, numbers.written.size()));
  EXPECT_LT(numbers.readUnits, 1000U);
}

TEST_P(Jobs, ExceptionWhileReading_EndsTheWork) {
  Numbers numbers(100000);
  Stages stages = numbers.stages();
  stages.read = [&, read = stages.read](Unit& unit) {
    if (numbers.readUnits == 50) {
      throw std::runtime_error("broken");
    }
    return read(unit);
  };
  EXPECT_THROW(runInOrder(GetParam(), stages), std::runtime_error);
  EXPECT_EQ(numbers.written, upTo(50).substr(0, numbers.written.size()));
}

// A pipe without a writer: only the failure can end the wait for it.
TEST_P(Jobs, ExceptionWhileWriting_EndsAReadThatWaits) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  Complaints complaints([](std::string_view line) { ADD_FAILURE() << line; });
  Cancellation cancellation;
  Input input(complaints, cancellation);
  ASSERT_TRUE(input.open("/dev/fd/" + std::to_string(ends[0])));

  Numbers numbers(100000);
  std::promise<void> waits;
  Stages stages = numbers.stages();
  stages.read = [&, read = stages.read](Unit& unit) {
    read(unit);
    if (unit.count == 2) {
      waits.set_value();
      input.read(unit.records.get(), recordSize);
      ADD_FAILURE() << "came back";
    }
    return true;
  };
  stages.cancelRead = [&] { cancellation.cancel(); };
  numbers.write = [&](std::string_view) {
    if (GetParam() > 1) { // another thread has its turn to read
      waits.get_future().wait();
    }
    throw std::out_of_range("gone");
  };
  EXPECT_THROW(runInOrder(GetParam(), stages), std::out_of_range);
  EXPECT_THROW(input.read(nullptr, recordSize), std::runtime_error) << "cancelled for good";
  close(ends[0]);
  close(ends[1]);
  complaints.flush();
}

TEST_P(Jobs, RenderTheSameTextAsOneRenderer) {
  constexpr std::size_t count = 20000;
  std::vector<_VelProfileReport> records(count);
  synthetic::RandomStream(23).fill(records);
  const unsigned char* const bytes = reinterpret_cast<const unsigned char*>(records.data());
  const profile::TimePolicy times{profile::TimeSync{1, 1700000000000000000}, 5};
  OutputBuffer expected;
  makeTextRenderer(times, profile::Framing::newline)->render(bytes, count, expected);

  std::size_t next = 0;
  std::string written;
  runInOrder(GetParam(), {
                             .read =
                                 [&](Unit& unit) {
                                   unit.count = std::min(Unit::capacity, count - next);
                                   std::copy_n(bytes + next * recordSize, unit.count * recordSize, unit.records.get());
                                   next += unit.count;
                                   return unit.count != 0;
                                 },
                             .makeRender = [&]() -> std::function<void(Unit&)> {
                               std::shared_ptr<Renderer> renderer = makeTextRenderer(times, profile::Framing::newline);
                               return [renderer](Unit& unit) {
                                 renderer->render(unit.records.get(), unit.count, unit.out);
                               };
                             },
                             .write = [&](std::string_view text) { written += text; },
                         });
  EXPECT_TRUE(written == expected.view());
}

TEST(EscapedText, IsOnePrintableLineARecord) {
  constexpr std::size_t count = 2000;
  std::vector<_VelProfileReport> records(count);
  synthetic::RandomStream(4).fill(records);
  OutputBuffer out;
  makeEscapedTextRenderer({})->render(reinterpret_cast<const unsigned char*>(records.data()), count, out);
  EXPECT_EQ(std::count(out.view().begin(), out.view().end(), '\n'), count);
  for (const char c : {'\0', '\r', '\x1B', '\x7F'}) {
    EXPECT_EQ(out.view().find(c), std::string_view::npos);
  }
}

INSTANTIATE_TEST_SUITE_P(Jobs, Jobs, testing::Values(1, 2, 3, 8));

} // namespace

} // namespace vel::stat
