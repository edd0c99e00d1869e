// The firmware's text streams, against a deliberately naive reader.

#include "TextStream.h"
#include "support/user_client.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <random>

namespace vel::test {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using Entries = std::vector<std::string>;

// The entries of a reply of which the driver says that it has this length.
Entries entriesOf(std::span<const std::uint8_t> buffer, std::size_t length) {
  TextStream stream(buffer, length);
  Entries entries;
  for (std::string entry; stream.next(entry);) {
    entries.push_back(entry);
  }
  return entries;
}

Entries entriesOf(const Bytes& reply) {
  return entriesOf(reply, reply.size());
}

Bytes number32(std::uint32_t value) {
  return Bytes{0} + le(value);
}
Bytes number64(std::uint64_t value) {
  return Bytes{1} + le(value);
}
Bytes piece(const std::string& characters) {
  return Bytes{2} + text(characters, characters.size() + 1);
}
const Bytes end = {3};
const Bytes hexadecimal = {4};
const Bytes decimal = {5};

// A naive reader: follows the format step by step, in a plain buffer that is followed by zeros.
Entries naive(std::span<const std::uint8_t> buffer, std::size_t length) {
  length = std::min(length, buffer.size());
  Bytes bytes(buffer.begin(), buffer.end());
  bytes.resize(bytes.size() + 16);
  Entries entries;
  std::string gathered;
  bool emitFirst = false;
  bool hex = false;
  const auto append = [&](unsigned long long value, int bits) {
    char digits[32];
    if (hex) {
      std::snprintf(digits, sizeof digits, "%llx", value);
    } else if (bits == 32) {
      std::snprintf(digits, sizeof digits, "%d", static_cast<std::int32_t>(value));
    } else {
      std::snprintf(digits, sizeof digits, "%lld", static_cast<long long>(value));
    }
    gathered = (gathered + digits).substr(0, 1023);
  };
  for (std::size_t i = 0; i < length;) {
    if (emitFirst) {
      entries.push_back(gathered);
      gathered.clear();
      emitFirst = false;
    }
    switch (bytes[i++]) {
    case 0: {
      std::uint32_t value = 0;
      std::memcpy(&value, &bytes[i], 4);
      i += 4;
      append(value, 32);
      break;
    }
    case 1: {
      unsigned long long value = 0;
      std::memcpy(&value, &bytes[i], 8);
      i += 8;
      append(value, 64);
      break;
    }
    case 2: {
      std::string whole;
      while (bytes[i] != 0) {
        whole += static_cast<char>(bytes[i++]);
      }
      ++i;
      const int room = 1022 - 2 * static_cast<int>(gathered.size());
      gathered += whole.substr(0, static_cast<std::size_t>(std::max(room, 0)));
      break;
    }
    case 3:
      emitFirst = true;
      break;
    case 4:
      hex = true;
      break;
    case 5:
      hex = false;
      break;
    default:
      break;
    }
  }
  if (!gathered.empty()) {
    entries.push_back(gathered);
  }
  return entries;
}

struct StreamCase {
  const char* name;
  Bytes stream;
  Entries entries;
};

TEST(TextStream, Streams) {
  const StreamCase cases[] = {
      {"nothing", {}, {}},
      {"text", piece("x="), {"x="}},
      {"empty text", piece(""), {}},
      {"pieces without separators", piece("x=") + number32(255) + hexadecimal + number32(255), {"x=255ff"}},
      {"32-bit numbers are signed",
       number32(0) + piece(" ") + number32(0xFFFFFFFF) + piece(" ") + number32(0x80000000),
       {"0 -1 -2147483648"}},
      {"64-bit numbers are signed",
       number64(0) + piece(" ") + number64(~0ULL) + piece(" ") + number64(1ULL << 63) + piece(" ") +
           number64(0x7FFFFFFFFFFFFFFF),
       {"0 -1 -9223372036854775808 9223372036854775807"}},
      {"hexadecimal is not signed",
       hexadecimal + number32(0) + piece(" ") + number32(0xFFFFFFFF) + piece(" ") + number64(~0ULL) + piece(" ") +
           number64(0x123456789ABCDEF0),
       {"0 ffffffff ffffffffffffffff 123456789abcdef0"}},
      {"back to decimal", hexadecimal + number32(10) + decimal + number32(10) + number64(10), {"a1010"}},
      {"the format outlives an entry", hexadecimal + number32(10) + end + number32(10), {"a", "a"}},
      {"two entries", piece("a") + end + piece("b") + end, {"a", "b"}},
      {"an end alone", end, {}},
      {"an end is acted on by any element that follows", piece("a") + end + hexadecimal, {"a"}},
      {"an end is acted on by an unknown element", piece("a") + end + Bytes{200}, {"a"}},
      {"two ends and more: an empty entry", piece("a") + end + end + piece("b"), {"a", "", "b"}},
      {"two ends and an element without text", piece("a") + end + end + decimal, {"a", ""}},
      {"two ends and nothing else", end + end, {""}},
      {"two ends at the very end", piece("a") + end + end, {"a"}},
      {"an end before anything", end + piece("a"), {"", "a"}},
      {"unknown tags have no payload", Bytes{6, 255, 7} + piece("a") + Bytes{100} + number32(1), {"a1"}},
      {"bytes that are not ASCII", piece("Caf\xC3\xA9\xFF"), {"Caf\xC3\xA9\xFF"}},
      {"a 64-bit number that is cut off", {1, 0x39, 0x30}, {"12345"}},
      {"a tag alone", {0}, {"0"}},
      {"text without its end", {2, 'a', 'b'}, {"ab"}},
  };
  for (const StreamCase& row : cases) {
    EXPECT_THAT(entriesOf(row.stream), ElementsAreArray(row.entries)) << row.name;
    EXPECT_THAT(naive(row.stream, row.stream.size()), ElementsAreArray(row.entries)) << row.name << ", naive";
  }
}

// Bytes in the buffer after the reply count once a payload has begun inside it.
TEST(TextStream, PayloadPastTheLength_GoesOnIntoTheBuffer) {
  EXPECT_THAT(entriesOf(Bytes{2, 'a', 'b', 'c', 0, 2, 'd', 0}, 2), ElementsAre("abc"));
  EXPECT_THAT(entriesOf(Bytes{2, 'a', 'b', 'c', 0, 2, 'd', 0}, 1), ElementsAre("abc"));
  EXPECT_THAT(entriesOf(Bytes{0, 1, 2, 0, 0, 3}, 2), ElementsAre("513"));
  EXPECT_THAT(entriesOf(Bytes{1, 1, 2, 0, 0, 3, 0, 0, 0, 9}, 1), ElementsAre("12884902401"));
  EXPECT_THAT(entriesOf(Bytes{2, 'a', 'b', 'c', 0, 2, 'd', 0}, 0), ElementsAre()) << "none has begun";
}

TEST(TextStream, PastTheBuffer_BytesAreZero) {
  const auto lastBytes = [](const Bytes& last) { return Bytes(kTextStreamCapacity - last.size(), 6) + last; };
  EXPECT_THAT(entriesOf(lastBytes({2})), ElementsAre());
  EXPECT_THAT(entriesOf(lastBytes({2, 'a', 'b'})), ElementsAre("ab"));
  EXPECT_THAT(entriesOf(lastBytes({0})), ElementsAre("0"));
  EXPECT_THAT(entriesOf(lastBytes({0, 1, 2})), ElementsAre("513"));
  EXPECT_THAT(entriesOf(lastBytes({1, 0xFF})), ElementsAre("255"));
}

TEST(TextStream, LengthAboveTheBuffer_CountsAsTheBuffer) {
  const Bytes stream = piece("a") + end + piece("b");
  for (std::size_t length : {stream.size(), stream.size() + 1, SIZE_MAX}) {
    EXPECT_THAT(entriesOf(stream, length), ElementsAre("a", "b")) << length;
  }
}

TEST(TextStream, AtItsEnd_StaysThere) {
  const Bytes stream = piece("a");
  TextStream reader(stream, stream.size());
  std::string entry;
  EXPECT_TRUE(reader.next(entry));
  EXPECT_EQ(entry, "a");
  EXPECT_FALSE(reader.next(entry));
  EXPECT_FALSE(reader.next(entry));
}

struct LimitCase {
  std::size_t length; // of the text so far
  std::size_t added;  // of a piece that is longer than any room
};

// A piece of text adds up to 1022 - 2 * length characters; a reply of 256 bytes comes to this limit only with numbers,
// so most borders are shown with longer buffers.
TEST(TextStream, TextPieces_AddLessTheMoreThereIs) {
  const LimitCase cases[] = {{0, 1022}, {1, 1020}, {2, 1018}, {100, 822}, {340, 342}, {341, 340}, {509, 4},
                             {510, 2},  {511, 0},  {512, 0},  {513, 0},   {600, 0},   {1022, 0}};
  for (const LimitCase& row : cases) {
    const Bytes before = piece(std::string(row.length, 'a'));
    const std::string whole = std::string(row.length, 'a') + std::string(row.added, 'b');
    EXPECT_THAT(entriesOf(before + piece(std::string(2000, 'b'))), ElementsAre(whole)) << row.length;
    EXPECT_THAT(entriesOf(before + piece(std::string(row.added, 'b'))), ElementsAre(whole)) << row.length << ", fits";
  }
}

// Twenty characters a 64-bit number: the least one.
const std::string kLeast = "-9223372036854775808";
const Bytes kLeastNumber = number64(1ULL << 63);

Bytes leastNumbers(std::size_t count) {
  Bytes stream;
  for (; count > 0; --count) {
    stream = stream + kLeastNumber;
  }
  return stream;
}

TEST(TextStream, TextPieces_AreLimitedInAReplyToo) {
  std::string numbers;
  for (int i = 0; i < 25; ++i) {
    numbers += kLeast;
  }
  const struct {
    Bytes more;
    std::string text;
  } cases[] = {
      {piece(std::string(28, 'b')), std::string(22, 'b')}, // after 500 characters
      {number32(0xFFFFFFFF) + piece(std::string(24, 'b')), "-1" + std::string(18, 'b')},
      {number32(1234567890) + piece("bbb"), "1234567890bb"},
      {number32(0x80000000) + piece("bbb"), "-2147483648"},
      {number32(1234567890) + number32(12) + piece("bbb"), "123456789012"},
      {number32(1234567890) + number32(12) + piece("bbb") + number32(3), "1234567890123"},
  };
  for (const auto& row : cases) {
    const Bytes stream = leastNumbers(25) + row.more;
    ASSERT_LE(stream.size(), kTextStreamCapacity);
    EXPECT_THAT(entriesOf(stream), ElementsAre(numbers + row.text));
  }
}

TEST(TextStream, Numbers_AreCutAt1023Characters) {
  std::string whole;
  for (int i = 0; i < 52; ++i) {
    whole += kLeast;
  }
  EXPECT_THAT(entriesOf(leastNumbers(51)), ElementsAre(whole.substr(0, 1020)));
  EXPECT_THAT(entriesOf(leastNumbers(52)), ElementsAre(whole.substr(0, 1023)));
  EXPECT_THAT(entriesOf(leastNumbers(200)), ElementsAre(whole.substr(0, 1023)));
  EXPECT_THAT(entriesOf(piece(std::string(1022, 'a')) + number32(99)), ElementsAre(std::string(1022, 'a') + "9"));
  EXPECT_THAT(entriesOf(leastNumbers(52) + piece("b") + end + piece("b")), ElementsAre(whole.substr(0, 1023), "b"));
}

// All streams of up to four bytes, at every reported length, with and without earlier bytes after them.
TEST(TextStream, AllShortStreams_ReadAsTheNaiveReaderReadsThem) {
  constexpr std::uint8_t alphabet[] = {0, 1, 2, 3, 4, 5, 6, 'a', 0xFF};
  const Bytes behind[] = {{}, Bytes(12, 0), {'z', 3, 2, 'y', 0, 4, 1, 0xFF, 0xFF, 3, 3, 6}};
  std::size_t streams = 0;
  for (std::size_t length = 0; length <= 4; ++length) {
    Bytes stream(length);
    std::vector<std::size_t> letters(length);
    for (bool more = true; more; ++streams) {
      std::transform(letters.begin(), letters.end(), stream.begin(), [&](std::size_t i) { return alphabet[i]; });
      for (const Bytes& rest : behind) {
        const Bytes buffer = stream + rest;
        for (std::size_t reported = 0; reported <= length; ++reported) {
          ASSERT_EQ(entriesOf(buffer, reported), naive(buffer, reported)) << testing::PrintToString(buffer);
        }
      }
      std::size_t digit = 0;
      while (digit < length && ++letters[digit] == std::size(alphabet)) {
        letters[digit++] = 0;
      }
      more = digit < length;
    }
  }
  EXPECT_EQ(streams, 1U + 9 + 81 + 729 + 6561);
}

TEST(TextStream, RandomStreams_ReadAsTheNaiveReaderReadsThem) {
  std::mt19937 random(57);
  const auto below = [&](std::size_t n) { return random() % n; };
  for (int round = 0; round < 20000; ++round) {
    Bytes buffer(round % 10 == 0 ? 3000 : kTextStreamCapacity);
    for (std::uint8_t& byte : buffer) {
      byte = static_cast<std::uint8_t>(below(3) == 0 ? below(256) : below(7));
    }
    if (round % 2 == 0) { // mostly long numbers: only they make long texts
      for (std::size_t i = 0; i + 9 <= buffer.size(); i += 9) {
        buffer[i] = static_cast<std::uint8_t>(below(40) == 0 ? 2 : 1);
        buffer[i + 8] |= 0x80;
      }
    }
    const std::size_t reported = below(8) == 0 ? SIZE_MAX - below(2) : below(buffer.size() + 45);
    ASSERT_EQ(entriesOf(buffer, reported), naive(buffer, reported)) << "round " << round << ", length " << reported;
  }
}

} // namespace
} // namespace vel::test
