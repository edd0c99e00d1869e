// Writes and reads entries: a head of fixed size, the table's name, the rows and a digest.
#include "fleet/spool.h"

#include <fleet/content_id.h>
#include <fleet/error.h>

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace vel::fleet {

namespace {

constexpr std::string_view magic = "velstat-spool-1\n";
constexpr std::size_t headSize = 1 + 4 + 4 + 8 + 8 + 1 + 4;
constexpr std::size_t digestSize = 8;

void put(std::string& to, std::uint64_t number, std::size_t size) {
  for (std::size_t i = 0; i < size; ++i) {
    to += static_cast<char>(number >> (8 * i));
  }
}

// Takes a number off the front.
std::uint64_t take(std::string_view& from, std::size_t size) {
  std::uint64_t number = 0;
  for (std::size_t i = 0; i < size; ++i) {
    number |= std::uint64_t{static_cast<unsigned char>(from[i])} << (8 * i);
  }
  from.remove_prefix(size);
  return number;
}

[[noreturn]] void failHere(const std::filesystem::path& file) {
  throw Error(fmt::format("{}: {}", file.string(), std::generic_category().message(errno)));
}

} // namespace

SpoolWriter::SpoolWriter(std::filesystem::path file, std::string_view tables)
    : file_(std::move(file)),
      descriptor_(open(file_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_APPEND | O_CLOEXEC, S_IRUSR | S_IWUSR)) {
  if (descriptor_ < 0) {
    failHere(file_);
  }
  write(magic);
  add({.kind = SpoolEntry::Kind::tables, .rows = std::string(tables)});
}

SpoolWriter::~SpoolWriter() {
  close(descriptor_);
}

void SpoolWriter::add(const SpoolEntry& entry) {
  std::string head;
  put(head, static_cast<std::uint8_t>(entry.kind), 1);
  put(head, entry.shard, 4);
  put(head, entry.batch, 4);
  put(head, entry.records, 8);
  put(head, entry.captures, 8);
  put(head, entry.table.size(), 1);
  put(head, entry.rows.size(), 4);
  head += entry.table;
  SipHash hash;
  hash.add(head);
  hash.add(entry.rows);
  std::string digest;
  put(digest, hash.value(), digestSize);
  write(head);
  write(entry.rows);
  write(digest);
}

void SpoolWriter::write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(descriptor_, bytes.data(), bytes.size());
    if (written >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno != EINTR) {
      failHere(file_);
    }
  }
}

SpoolReader::SpoolReader(const std::filesystem::path& file)
    : name_(file.string()), descriptor_(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
  struct stat status {};
  if (descriptor_ < 0 || fstat(descriptor_, &status) != 0) {
    const int cause = errno;
    if (descriptor_ >= 0) {
      close(descriptor_);
    }
    errno = cause;
    failHere(file);
  }
  try {
    if (!S_ISREG(status.st_mode)) {
      fail("not a spool, which is a regular file");
    }
    begin();
  } catch (...) {
    close(descriptor_);
    throw;
  }
}

SpoolReader::SpoolReader(std::string_view content, std::string name) : name_(std::move(name)), memory_(content) {
  begin();
}

SpoolReader::~SpoolReader() {
  if (descriptor_ >= 0) {
    close(descriptor_);
  }
}

void SpoolReader::begin() {
  std::string found(magic.size(), '\0');
  if (read(found.data(), found.size()) != found.size() || found != magic) {
    fail("not a spool of this version of velstat fleet load");
  }
  at_ = magic.size();
  std::optional<SpoolEntry> first = next();
  if (!first || first->kind != SpoolEntry::Kind::tables) {
    fail("the spool does not tell for which tables it is");
  }
  tables_ = std::move(first->rows);
}

// Reads `size` bytes, or fewer if the spool ends before.
std::size_t SpoolReader::read(char* out, std::size_t size) {
  if (descriptor_ < 0) {
    const std::size_t got = memory_.copy(out, size);
    memory_.remove_prefix(got);
    return got;
  }
  std::size_t got = 0;
  while (got < size) {
    const ssize_t more = ::read(descriptor_, out + got, size - got);
    if (more < 0 && errno != EINTR) {
      failHere(name_);
    }
    if (more == 0) {
      break;
    }
    got += more > 0 ? static_cast<std::size_t>(more) : 0;
  }
  return got;
}

void SpoolReader::fail(const std::string& cause) const {
  throw Error(fmt::format("{}: offset {}: {}", name_, at_, cause));
}

std::optional<SpoolEntry> SpoolReader::next() {
  std::string head(headSize, '\0');
  const std::size_t got = read(head.data(), headSize);
  if (got < headSize) {
    cut_ = got != 0;
    return std::nullopt;
  }
  std::string_view rest = head;
  SpoolEntry entry;
  const std::uint64_t kind = take(rest, 1);
  entry.shard = static_cast<std::uint32_t>(take(rest, 4));
  entry.batch = static_cast<std::uint32_t>(take(rest, 4));
  entry.records = take(rest, 8);
  entry.captures = take(rest, 8);
  const std::size_t nameSize = take(rest, 1);
  const std::size_t rowsSize = take(rest, 4);
  if (kind > static_cast<std::uint64_t>(SpoolEntry::Kind::check) || rowsSize > longestRows) {
    fail("damaged");
  }
  entry.kind = static_cast<SpoolEntry::Kind>(kind);
  entry.table.resize(nameSize);
  std::size_t whole = read(entry.table.data(), nameSize);
  // Memory grows with the bytes that are there, not with the length that the entry claims.
  constexpr std::size_t step = std::size_t{1} << 24;
  while (entry.rows.size() < rowsSize) {
    const std::size_t begin = entry.rows.size();
    entry.rows.resize(std::min(begin + step, rowsSize));
    const std::size_t more = read(entry.rows.data() + begin, entry.rows.size() - begin);
    whole += more;
    if (begin + more < entry.rows.size()) {
      break;
    }
  }
  char digest[digestSize];
  whole += read(digest, digestSize);
  if (whole < nameSize + rowsSize + digestSize) {
    cut_ = true;
    return std::nullopt;
  }
  SipHash hash;
  hash.add(head);
  hash.add(entry.table);
  hash.add(entry.rows);
  std::string_view expected(digest, digestSize);
  if (take(expected, digestSize) != hash.value()) {
    fail("damaged: the entry's digest is another one");
  }
  at_ += headSize + whole;
  return entry;
}

} // namespace vel::fleet
