// Blocks of records: framing, room, and no allocation.
#include "given_times.h"
#include "sample_records.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

namespace {

std::size_t allocations = 0;
bool memory_is_used_up = false;

} // namespace

void* operator new(std::size_t size) {
  ++allocations;
  if (void* memory = memory_is_used_up ? nullptr : std::malloc(size)) {
    return memory;
  }
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace {

using namespace vel::profile;

struct Block {
  std::vector<unsigned char> bytes;
  std::vector<std::string> texts;
};

Block make_block(std::size_t count) {
  Block block;
  RandomRecords records(9);
  for (std::size_t i = 0; i < count; ++i) {
    const Record record = records.next();
    block.bytes.insert(block.bytes.end(), std::begin(record.bytes), std::end(record.bytes));
    block.texts.push_back(text_of(record));
  }
  return block;
}

std::string render(const Block& block, Framing framing) {
  std::vector<char> out(block.texts.size() * frame_capacity);
  BulkRenderer renderer({}, framing);
  return std::string(out.data(), renderer.render(block.bytes.data(), block.texts.size(), out.data()));
}

TEST(Bulk, Newline_FollowsEachText) {
  const Block block = make_block(300);
  std::string expected;
  for (const std::string& text : block.texts) {
    expected += text + '\n';
  }
  EXPECT_EQ(render(block, Framing::newline), expected);
}

TEST(Bulk, LengthPrefix_PrecedesEachText) {
  const Block block = make_block(300);
  std::string expected;
  for (const std::string& text : block.texts) {
    for (unsigned shift = 0; shift < 32; shift += 8) {
      expected += static_cast<char>(text.size() >> shift);
    }
    expected += text;
  }
  EXPECT_EQ(render(block, Framing::length_prefix), expected);
}

TEST(Bulk, NoRecords_GiveNoBytes) {
  BulkRenderer renderer;
  EXPECT_EQ(renderer.render(nullptr, 0, nullptr), 0U);
}

TEST(Bulk, RecordsMayStandAtAnyAddress) {
  const Block block = make_block(8);
  const std::string expected = render(block, Framing::newline);
  for (std::size_t shift = 1; shift < 8; ++shift) {
    std::vector<unsigned char> moved(shift);
    moved.insert(moved.end(), block.bytes.begin(), block.bytes.end());
    std::vector<char> out(8 * frame_capacity);
    BulkRenderer renderer;
    EXPECT_EQ(std::string(out.data(), renderer.render(moved.data() + shift, 8, out.data())), expected);
  }
}

// No record needs more room than is reserved for it: under the address sanitizer the vectors' ends are
// watched, and here the texts themselves stay well below.
TEST(Bulk, LongestTexts_FitTheirCapacity) {
  std::size_t longest = 0;
  for (const unsigned category : {0, 4, 7}) {
    for (unsigned event = 0; event < 6; ++event) {
      for (unsigned type = 0; type < 14; ++type) {
        for (unsigned version = 2; version < 9; ++version) {
          Record record(category, type == 3 && category == 4 ? 0 : 200, event, type);
          record.timestamp(UINT64_MAX).sequence(UINT32_MAX);
          std::memset(record.bytes + 16, 0xff, 32);
          if (type == 10) {
            record.u16(16, version);
          }
          std::vector<char> out(frame_capacity);
          BulkRenderer renderer({TimeSync{0, 0}, UINT64_MAX}, Framing::length_prefix);
          longest = std::max(longest, renderer.render(record.bytes, 1, out.data()));
        }
      }
    }
  }
  EXPECT_LE(longest, frame_capacity);
  EXPECT_GE(longest, 1000U) << "the walk meets long texts";
}

TEST(Allocations, BulkMakesNone) {
  const Block block = make_block(500);
  std::vector<char> out(500 * frame_capacity);
  const TimePolicy policies[] = {{}, {TimeSync{1, 2}, 3}};
  for (const TimePolicy& policy : policies) {
    BulkRenderer warm(policy);
    warm.render(block.bytes.data(), 1, out.data()); // the first use of local time reads the zone
    const std::size_t before = allocations;
    BulkRenderer renderer(policy);
    renderer.render(block.bytes.data(), 500, out.data());
    EXPECT_EQ(allocations - before, 0U);
  }
}

TEST(Allocations, TextWithoutMemory_Throws) {
  const Record record;
  bool thrown = false;
  memory_is_used_up = true;
  try {
    KIPLogDecoder::to_string(record.report());
  } catch (const std::bad_alloc&) {
    thrown = true;
  }
  memory_is_used_up = false;
  EXPECT_TRUE(thrown);
}

TEST(Allocations, ToStringMakesOne) {
  RandomRecords records(10);
  for (unsigned i = 0; i < 5000; ++i) {
    const Record record = records.next();
    const std::size_t before = allocations;
    const std::string text = KIPLogDecoder::to_string(record.report());
    ASSERT_EQ(allocations - before, 1U) << text;
  }
}

} // namespace
