// Text to records. First the input is taken as records: their lines, with empty lines between them, give the same
// records. Then it is taken as text: only its bytes are read, and the record of a sound line is rendered as that line
// again.
#include "profile/read_line.h"
#include "require.h"

#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

using vel::fuzz::require;
using namespace vel::profile;

std::string rendered(const unsigned char* record, const TimePolicy& times) {
  const std::unique_ptr<char[]> block(new char[frame_capacity]);
  return std::string(block.get(), BulkRenderer(times, Framing::none).render(record, 1, block.get()));
}

void checkRecords(const std::uint8_t* data, std::size_t size) {
  static const TimePolicy policies[] = {{}, {TimeSync{3'600'000'000'000, 1'763'708'400'000'000'000}, 1'763'704'800}};
  std::string text;
  for (std::size_t at = 0; at + 48 <= size; at += 48) {
    text += std::string(data[at] % 3, '\n') + rendered(data + at, policies[data[at + 1] % 2]);
  }
  // A separate allocation, so that AddressSanitizer sees a read beyond the text.
  const std::vector<char> exact(text.begin(), text.end());
  LineReader reader;
  FoundLine line;
  std::size_t from = 0;
  for (std::size_t at = 0; at + 48 <= size; at += 48) {
    require(reader.next({exact.data(), exact.size()}, from, line) && line.sound);
    require(std::memcmp(line.record.data(), data + at, 48) == 0);
    from = line.end;
  }
  require(!reader.next({exact.data(), exact.size()}, from, line));
}

void checkText(std::string_view text) {
  LineReader reader;
  FoundLine line;
  std::size_t from = 0;
  for (; reader.next(text, from, line); from = line.end) {
    require(from <= line.begin && line.begin < line.end && line.end <= text.size());
    require(line.sound || (line.begin <= line.fault && line.fault < line.end));
    if (line.sound) {
      const std::string words = rendered(line.record.data(), {});
      require(text.substr(line.begin).starts_with(std::string_view(words).substr(0, words.size() - 1)));
    }
  }
  const UnreadLines unread = count_unread_lines(text);
  require(unread.damaged == 0 || text.substr(unread.first_damaged).starts_with(line_beginning));

  const std::size_t whole = whole_lines(text);
  require(whole <= text.size() && text.size() - whole <= longest_line);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  checkRecords(data, size);
  const std::vector<char> copy(data, data + size);
  checkText({copy.data(), copy.size()});
  return 0;
}
