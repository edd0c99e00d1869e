#include "support/record_files.h"

namespace vel::sources {

SourceResult readAll(const Bytes& file, bool recovers, std::size_t recordsAtOnce) {
  const TemporaryFile temporary(file);
  SourceResult result;
  Complaints complaints([&](std::string_view line) {
    std::string text(line);
    text.replace(0, temporary.path().size(), "FILE");
    result.complaints.push_back(text);
  });
  const Cancellation cancellation;
  Input input(complaints, cancellation);
  if (!input.open(temporary.path())) {
    std::abort();
  }
  const auto source = recovers ? makeRecoveringSource(input, complaints) : makePlainSource(input, complaints);
  Bytes room(recordsAtOnce * recordSize);
  while (const std::size_t count = source->read(room)) {
    result.records.insert(result.records.end(), room.begin(),
                          room.begin() + static_cast<std::ptrdiff_t>(count * recordSize));
  }
  complaints.flush();
  return result;
}

} // namespace vel::sources
