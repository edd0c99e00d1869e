// The spool: a file of what could not be written to the cluster, in the order in which it has to be written.
//
// The file begins with 16 bytes, "velstat-spool-1\n", and then has entries: kind (1 byte), shard (4 bytes), batch (4),
// records (8), captures (8), the lengths of the table's name (1) and of the rows (4), then both, and the SipHash of all
// of the entry before it (8). Numbers are little-endian. The first entry says which tables the spool is for.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace vel::fleet {

struct SpoolEntry {
  enum class Kind : std::uint8_t { tables, rows, check };

  Kind kind = Kind::rows;
  std::uint32_t shard = 0;
  std::uint32_t batch = 0;
  std::uint64_t records = 0;  // profile records in it
  std::uint64_t captures = 0; // captures that are complete with it
  std::string table;          // as in storedTable(); empty unless the kind is `rows`
  std::string rows;           // RowBinary; for `check` see encodeCounts(), for `tables` see tablesOf()

  bool operator==(const SpoolEntry&) const = default;
};

// Appends entries to a new file, which only this user can read. [one thread at a time]
class SpoolWriter {
public:
  // Throws Error if the file exists or cannot be written, as add() does.
  SpoolWriter(std::filesystem::path file, std::string_view tables);
  ~SpoolWriter();
  SpoolWriter(const SpoolWriter&) = delete;
  SpoolWriter& operator=(const SpoolWriter&) = delete;

  void add(const SpoolEntry& entry);

private:
  void write(std::string_view bytes);

  std::filesystem::path file_;
  int descriptor_;
};

// Reads hostile bytes: every length is checked, and the size of an entry is limited. [one thread at a time]
class SpoolReader {
public:
  static constexpr std::size_t longestRows = std::size_t{1} << 30;

  // Throws Error for what is not a spool.
  explicit SpoolReader(const std::filesystem::path& file);
  // The same from memory, for tests. [borrowed: `content`]
  SpoolReader(std::string_view content, std::string name);
  ~SpoolReader();
  SpoolReader(const SpoolReader&) = delete;
  SpoolReader& operator=(const SpoolReader&) = delete;

  // The tables that the spool is for, as tablesOf() gives them.
  const std::string& tables() const { return tables_; }
  // The next entry; none at the end. An incomplete entry, which a load leaves that is killed while it writes, also ends
  // the spool; then wasCut() is true. Throws Error with the offset if the spool is damaged.
  std::optional<SpoolEntry> next();
  bool wasCut() const { return cut_; }

private:
  std::size_t read(char* out, std::size_t size);
  void begin();
  [[noreturn]] void fail(const std::string& cause) const;

  std::string name_;
  std::string_view memory_;
  int descriptor_ = -1;
  std::uint64_t at_ = 0; // the offset of the next entry
  std::string tables_;
  bool cut_ = false;
};

} // namespace vel::fleet
