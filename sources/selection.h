// Which records are shown. [one thread at a time]
#pragma once

#include <profile/layout.h>

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace vel::sources {

// Both ends are included.
struct Range {
  std::uint64_t first = 0;
  std::uint64_t last = std::numeric_limits<std::uint64_t>::max();

  bool operator==(const Range&) const = default;
  bool holds(std::uint64_t value) const noexcept { return first <= value && value <= last; }
};

// "A..B", "A..", "..B" or "A". Throws std::invalid_argument with the cause.
Range parseRange(std::string_view text);

// As given on the command line: names in any case, or ids. An empty list selects all.
struct SelectionRequest {
  std::vector<std::string> categories;
  std::vector<std::string> components;
  std::vector<std::string> events; // or the names of actions
  std::vector<std::string> types;
  std::vector<std::string> layouts; // names only
  Range sequence;
  Range time;
  std::uint64_t skip = 0; // of the records that pass the filters
  std::uint64_t limit = std::numeric_limits<std::uint64_t>::max();

  bool operator==(const SelectionRequest&) const = default;
};

class Selection {
public:
  // Throws std::invalid_argument for an unknown name, with the nearest one.
  explicit Selection(const SelectionRequest& request);

  // Restricts the time stamps that pass to those that are also in the range.
  void narrowTime(const Range& range) noexcept;

  // Whether the filters let the record pass; `skip` and `limit` do not count here.
  bool passes(const unsigned char* record) const noexcept;

  // Whether the next record that passes the filters is shown: applies `skip` and `limit`.
  bool showsNext() noexcept;
  bool isFull() const noexcept { return limit_ == 0; }
  // Whether there are no filters and limits, so that the other functions need not be called.
  bool showsAll() const noexcept { return showsAll_; }

  // The layout of all records that pass, if only one was requested; null otherwise.
  const profile::Layout* onlyLayout() const noexcept { return layouts_.size() == 1 ? layouts_.front() : nullptr; }

private:
  using Ids = std::bitset<256>;

  // The wanted actions of one component.
  struct Actions {
    std::size_t component; // counted over all categories, as in `events_`
    std::vector<std::uint32_t> ids;
  };

  bool hasWantedAction(const unsigned char* record, std::size_t component) const noexcept;
  bool hasWantedLayout(const unsigned char* record) const noexcept;

  bool showsAll_;
  Ids categories_;
  Ids types_;
  std::vector<Ids> components_; // by category; empty: all
  std::vector<Ids> events_;     // by category and component; empty: all
  std::vector<Actions> actions_;
  std::vector<const profile::Layout*> layouts_; // empty: all
  Range sequence_;
  Range time_;
  std::uint64_t skip_;
  std::uint64_t limit_;
};

} // namespace vel::sources
