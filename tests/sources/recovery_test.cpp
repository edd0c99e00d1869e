// Damage of every kind, and what is left of the records around it.
#include "support/record_files.h"
#include <synthetic/record_stream.h>

#include <gmock/gmock.h>

#include <functional>
#include <random>

namespace vel::sources {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

Bytes slice(const Bytes& bytes, std::size_t from, std::size_t to) {
  return {bytes.begin() + static_cast<std::ptrdiff_t>(from), bytes.begin() + static_cast<std::ptrdiff_t>(to)};
}

Bytes joined(std::initializer_list<Bytes> parts) {
  Bytes bytes;
  for (const Bytes& part : parts) {
    append(bytes, part);
  }
  return bytes;
}

std::vector<std::uint32_t> range(std::uint32_t first, std::uint32_t count) {
  std::vector<std::uint32_t> numbers;
  for (std::uint32_t i = 0; i < count; ++i) {
    numbers.push_back(first + i);
  }
  return numbers;
}

std::vector<std::uint32_t> without(std::vector<std::uint32_t> numbers, std::uint32_t number) {
  std::erase(numbers, number);
  return numbers;
}

const Bytes ten = records(100, 10);

Bytes overwritten(std::size_t at, const Bytes& with) {
  Bytes bytes = ten;
  std::copy(with.begin(), with.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at));
  return bytes;
}

struct Case {
  const char* name;
  Bytes file;
  std::vector<std::uint32_t> sequence;
  std::vector<std::string> complaints;
};

class Recovery : public testing::TestWithParam<Case> {};

TEST_P(Recovery, GoesOnAfterDamage) {
  for (const std::size_t recordsAtOnce : {1, 3, 512}) {
    const SourceResult result = readAll(GetParam().file, true, recordsAtOnce);
    EXPECT_EQ(result.sequence(), GetParam().sequence) << recordsAtOnce;
    EXPECT_EQ(result.complaints, GetParam().complaints) << recordsAtOnce;
  }
}

const Bytes garbage(100, 0xEE);
const Bytes zeros(480, 0);

INSTANTIATE_TEST_SUITE_P(
    Damage, Recovery,
    testing::Values(
        Case{"None", ten, range(100, 10), {}}, Case{"EmptyFile", {}, {}, {}}, Case{"OneRecord", record(7), {7}, {}},
        Case{"OneRecordAndTail", joined({record(7), Bytes(5, 0xEE)}), {}, {"FILE: offset 0: damage, 53 bytes skipped"}},
        Case{"FewRecords", records({7, 9}), {7, 9}, {}},
        Case{"TailCutShort", slice(ten, 0, 10 * 48 - 1), range(100, 9), {"FILE: offset 432: damage, 47 bytes skipped"}},
        Case{"FrontCutShort", slice(ten, 1, 480), range(101, 9), {"FILE: offset 0: damage, 47 bytes skipped"}},
        Case{"GarbageInFront", joined({garbage, ten}), range(100, 10), {"FILE: offset 0: damage, 100 bytes skipped"}},
        Case{"GarbageBehind", joined({ten, garbage}), range(100, 10), {"FILE: offset 480: damage, 100 bytes skipped"}},
        Case{"GarbageBetween",
             joined({ten, garbage, records(110, 10)}),
             range(100, 20),
             {"FILE: offset 480: damage, 100 bytes skipped"}},
        Case{"OneByteBetween",
             joined({ten, {0xEE}, records(110, 10)}),
             range(100, 20),
             {"FILE: offset 480: damage, 1 byte skipped"}},
        // The bytes of a record are missing: its remains are skipped, the next record is whole.
        Case{"ThirteenBytesLost",
             joined({slice(ten, 0, 100), slice(ten, 113, 480)}),
             without(range(100, 10), 102),
             {"FILE: offset 96: damage, 35 bytes skipped"}},
        Case{"BytesLostAcrossRecords",
             joined({slice(ten, 0, 100), slice(ten, 200, 480)}),
             {100, 101, 105, 106, 107, 108, 109},
             {"FILE: offset 96: damage, 44 bytes skipped"}},
        Case{"IdsOverwritten",
             overwritten(96, {0xEE, 0xEE, 0xEE, 0xEE}),
             without(range(100, 10), 102),
             {"FILE: offset 96: damage, 48 bytes skipped"}},
        Case{"SequenceNumberOverwritten",
             overwritten(100, {0xEE, 0xEE, 0xEE, 0xEE}),
             without(range(100, 10), 102),
             {"FILE: offset 96: damage, 48 bytes skipped"}},
        // A hole in a file reads as zeros, which are a known category and type.
        Case{"ZerosBetween",
             joined({ten, zeros, records(110, 10)}),
             range(100, 20),
             {"FILE: offset 480: damage, 480 bytes skipped"}},
        Case{"ZerosAlone", zeros, {}, {"FILE: offset 0: damage, 480 bytes skipped"}},
        Case{"OneRecordOfZeros", Bytes(48, 0), {}, {"FILE: offset 0: damage, 48 bytes skipped"}},
        // Number and time 0 are only slightly in the past.
        Case{"ZerosAfterSmallNumbers",
             joined({records(1, 5), Bytes(48, 0)}),
             range(1, 5),
             {"FILE: offset 240: damage, 48 bytes skipped"}},
        Case{"TwoDamages",
             joined({garbage, ten, garbage, records(110, 10)}),
             range(100, 20),
             {"FILE: offset 0: damage, 100 bytes skipped", "FILE: offset 580: damage, 100 bytes skipped"}},
        Case{"GarbageAlone", garbage, {}, {"FILE: offset 0: damage, 100 bytes skipped"}},
        Case{"LongerThanTheWindow",
             joined({ten, Bytes(300001, 0xEE), records(110, 10)}),
             range(100, 20),
             {"FILE: offset 480: damage, 300001 bytes skipped"}},
        // Not damage: what a sound stream may do.
        Case{"Gap",
             joined({records(1, 5), records(5000000, 5)}),
             {1, 2, 3, 4, 5, 5000000, 5000001, 5000002, 5000003, 5000004},
             {}},
        Case{"Restart",
             joined({records(70000, 5), records(0, 5)}),
             {70000, 70001, 70002, 70003, 70004, 0, 1, 2, 3, 4},
             {}},
        Case{"Wrap", records(0xFFFFFFFE, 5), {0xFFFFFFFE, 0xFFFFFFFF, 0, 1, 2}, {}},
        Case{"Duplicate", records({1, 2, 3, 3, 4, 5, 6, 7}), {1, 2, 3, 3, 4, 5, 6, 7}, {}},
        Case{"DuplicateAtTheEnd", records({1, 2, 3, 4, 5, 5}), {1, 2, 3, 4, 5, 5}, {}},
        Case{"Reordered", records({1, 2, 4, 3, 5, 7, 6, 8, 10, 9}), {1, 2, 4, 3, 5, 7, 6, 8, 10, 9}, {}},
        Case{"RepeatedBatch", joined({records(1, 6), records(1, 6)}), {1, 2, 3, 4, 5, 6, 1, 2, 3, 4, 5, 6}, {}}),
    [](const auto& info) { return info.param.name; });

TEST(PlainSource, TailShortOfARecord_IsReportedAndAllBeforeItRead) {
  for (const std::size_t size : {1, 47}) {
    Bytes file = ten;
    file.insert(file.end(), size, 0xEE);
    for (const std::size_t recordsAtOnce : {1, 3, 512}) {
      const SourceResult result = readAll(file, false, recordsAtOnce);
      EXPECT_EQ(result.records, ten);
      EXPECT_THAT(result.complaints, ElementsAre("FILE: offset 480: the last record is cut short, " +
                                                 std::to_string(size) + " of 48 bytes"));
    }
  }
}

TEST(PlainSource, AnyBytesAreRecords) {
  const Bytes file(480, 0xEE);
  const SourceResult result = readAll(file, false);
  EXPECT_EQ(result.records, file);
  EXPECT_THAT(result.complaints, IsEmpty());
}

TEST(RecoveringSource, SoundFlows_ComeThroughWhole) {
  std::vector<_VelProfileReport> flows(20000);
  synthetic::FlowStream(3).fill(flows);
  const unsigned char* const bytes = reinterpret_cast<const unsigned char*>(flows.data());
  const Bytes file(bytes, bytes + flows.size() * recordSize);
  const SourceResult result = readAll(file, true, 512);
  EXPECT_EQ(result.records, file);
  EXPECT_THAT(result.complaints, IsEmpty());
}

// Real payloads are full of small numbers that look like ids. Cut, insert and overwrite at random: each damage may cost
// the records that it touches, rarely a neighbour, and nothing that is not a record is shown.
TEST(RecoveringSource, RandomDamageInFlows_CostsOnlyWhatItTouches) {
  constexpr std::size_t count = 200;
  std::vector<_VelProfileReport> flows(count);
  synthetic::FlowStream(5).fill(flows);
  const unsigned char* const bytes = reinterpret_cast<const unsigned char*>(flows.data());
  const Bytes sound(bytes, bytes + count * recordSize);
  std::mt19937 random(11);
  int neighbours = 0;
  for (int round = 0; round < 2000; ++round) {
    Bytes file = sound;
    const std::size_t at = recordSize * 8 + random() % (recordSize * (count - 16));
    const std::size_t size = 1 + random() % 200;
    const auto place = file.begin() + static_cast<std::ptrdiff_t>(at);
    std::size_t touched = 1;
    if (random() % 2 == 0) {
      file.erase(place, place + static_cast<std::ptrdiff_t>(size));
      touched += (at % recordSize + size) / recordSize;
    } else {
      Bytes noise(size);
      std::generate(noise.begin(), noise.end(), [&] { return static_cast<unsigned char>(random()); });
      file.insert(place, noise.begin(), noise.end());
    }
    const SourceResult result = readAll(file, true, 512);
    std::size_t whole = 0;
    std::size_t cut = 0;
    for (std::size_t i = 0, next = 0; i < result.records.size(); i += recordSize) {
      std::size_t j = next;
      while (j < count && !std::equal(&result.records[i], &result.records[i] + recordSize, &sound[j * recordSize])) {
        ++j;
      }
      if (j < count) {
        ++whole;
        next = j + 1;
      } else {
        ++cut; // its header is sound, but the damage reaches into its payload: nothing shows that
      }
    }
    neighbours += whole + touched < count ? 1 : 0;
    EXPECT_GE(whole + touched + 1, count) << "round " << round << ", at " << at << ", size " << size;
    EXPECT_LE(cut, 1U) << "round " << round << ", at " << at << ", size " << size;
    EXPECT_LE(result.complaints.size(), 2U) << "round " << round;
  }
  EXPECT_LE(neighbours, 20);
}

} // namespace

} // namespace vel::sources
