// Reads moments, and finds the time stamps that they mean.
#include "sources/time_range.h"

#include <formats/parse_number.h>
#include <sources/calendar.h>

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <string>

namespace vel::sources {

namespace {

constexpr std::uint64_t oneSecond = microsecondsPerSecond;
constexpr std::uint64_t latest = std::numeric_limits<std::uint64_t>::max();

// Parses a text from its beginning.
class Words {
public:
  explicit Words(std::string_view text) : rest_(text) {}

  std::string_view rest() const { return rest_; }
  bool isEmpty() const { return rest_.empty(); }

  bool take(char wanted) {
    const bool found = rest_.starts_with(wanted);
    rest_.remove_prefix(found ? 1 : 0);
    return found;
  }
  std::string_view digits() {
    const std::string_view found = rest_.substr(0, rest_.find_first_not_of("0123456789"));
    rest_.remove_prefix(found.size());
    return found;
  }
  // A number with `fewest` to `most` digits, from `least` to `greatest`.
  bool number(std::size_t fewest, std::size_t most, int least, int greatest, int& number) {
    const std::string_view found = digits();
    if (found.size() < fewest || found.size() > most) {
      return false;
    }
    number = formats::parseNumber<int>(found);
    return number >= least && number <= greatest;
  }

private:
  std::string_view rest_;
};

[[noreturn]] void refuse(std::string_view text) {
  throw std::invalid_argument(fmt::format("'{}' is not a time: expected a time stamp such as 420000000 or 420.5 (s), "
                                          "an offset such as +1.5s, 'last 10s', or a calendar time such as 08:15:02, "
                                          "'Nov 21 08:15:02.5' or 2026-11-21T08:15",
                                          text));
}

// The digits after a point in units of 1 / scale: "25" of 1000 is 250. `unit` becomes the value of the last digit.
std::optional<std::uint64_t> fraction(std::string_view digits, std::uint64_t scale, std::uint64_t& unit) {
  std::uint64_t value = 0;
  for (const char digit : digits) {
    if (scale % 10 != 0) {
      return std::nullopt; // below a microsecond
    }
    scale /= 10;
    value += static_cast<std::uint64_t>(digit - '0') * scale;
  }
  unit = scale;
  return digits.empty() ? std::nullopt : std::optional(value);
}

// "1.5s" in microseconds.
std::uint64_t duration(std::string_view text) {
  constexpr struct {
    std::string_view name;
    std::uint64_t length;
  } units[] = {{"us", 1}, {"ms", 1000}, {"s", oneSecond}, {"min", 60 * oneSecond}, {"h", 3600 * oneSecond}};
  Words words(text);
  const std::string_view whole = words.digits();
  const bool hasPoint = words.take('.');
  const std::string_view part = hasPoint ? words.digits() : std::string_view();
  const auto* const unit =
      std::find_if(std::begin(units), std::end(units), [&](const auto& each) { return each.name == words.rest(); });
  if (whole.empty() || unit == std::end(units)) {
    throw std::invalid_argument(
        fmt::format("'{}' is not a duration: expected a number and us, ms, s, min or h, such as 1.5s", text));
  }
  std::uint64_t last = 0;
  const auto rest = hasPoint ? fraction(part, unit->length, last) : std::uint64_t{0};
  if (!rest) {
    throw std::invalid_argument(fmt::format("'{}' is not a whole number of microseconds", text));
  }
  constexpr std::uint64_t longest = latest / 2; // more than any log takes
  return formats::parseNumber<std::uint64_t>(whole, 0, longest / unit->length) * unit->length + *rest;
}

// "2026-11-21" or "Nov 21", and the separator before the time.
bool readDate(Words& words, Moment& moment) {
  std::tm& fields = moment.fields;
  if (const std::optional<int> month = monthNamed(words.rest().substr(0, 3))) {
    fields.tm_mon = *month;
    words = Words(words.rest().substr(3));
    return words.take(' ') && words.number(1, 2, 1, 31, fields.tm_mday) && words.take(' ');
  }
  moment.hasYear = true;
  int year = 0;
  int month = 0;
  if (!words.number(4, 4, 1970, 9999, year) || !words.take('-') || !words.number(2, 2, 1, 12, month) ||
      !words.take('-') || !words.number(2, 2, 1, 31, fields.tm_mday)) {
    return false;
  }
  fields.tm_year = year - 1900;
  fields.tm_mon = month - 1;
  return words.take('T') || words.take(' ');
}

// "08:15", "08:15:02" or "08:15:02.000417".
bool readTimeOfDay(Words& words, Moment& moment) {
  std::tm& fields = moment.fields;
  if (!words.number(2, 2, 0, 23, fields.tm_hour) || !words.take(':') || !words.number(2, 2, 0, 59, fields.tm_min)) {
    return false;
  }
  moment.span = 60 * oneSecond;
  if (words.take(':')) {
    moment.span = oneSecond;
    if (!words.number(2, 2, 0, 59, fields.tm_sec)) {
      return false;
    }
    if (words.take('.')) {
      const auto part = fraction(words.digits(), oneSecond, moment.span);
      moment.microseconds = part.value_or(0);
      return part.has_value();
    }
  }
  return true;
}

Moment parseCalendar(std::string_view text) {
  Moment moment;
  moment.base = Moment::Base::calendar;
  Words words(text);
  moment.hasDate = text.find(':') != 2; // otherwise it begins with the hour
  if ((moment.hasDate && !readDate(words, moment)) || !readTimeOfDay(words, moment)) {
    refuse(text);
  }
  moment.isUtc = words.take('Z');
  if (!words.isEmpty()) {
    refuse(text);
  }
  return moment;
}

Moment parseMoment(std::string_view text) {
  constexpr std::string_view last = "last ";
  if (text.starts_with(last)) {
    return {.base = Moment::Base::beforeLast, .microseconds = duration(text.substr(last.size()))};
  }
  if (text.starts_with('+')) {
    return {.base = Moment::Base::afterFirst, .microseconds = duration(text.substr(1))};
  }
  Words words(text);
  const std::string_view whole = words.digits();
  if (!whole.empty() && words.isEmpty()) {
    return {.microseconds = formats::parseNumber<std::uint64_t>(whole)};
  }
  if (!whole.empty() && words.take('.')) {
    Moment moment;
    const auto part = fraction(words.digits(), oneSecond, moment.span);
    if (!part || !words.isEmpty()) {
      refuse(text);
    }
    moment.microseconds = formats::parseNumber<std::uint64_t>(whole, 0, latest / oneSecond - 1) * oneSecond + *part;
    return moment;
  }
  return parseCalendar(text);
}

// The whole microseconds from a time stamp to the calendar.
__extension__ typedef __int128 Wide; // differences of any two clocks
Wide calendarOffset(const profile::TimeSync& sync) {
  const Wide nanoseconds = Wide{sync.calendar} - sync.vel;
  return nanoseconds / 1000 - (nanoseconds % 1000 < 0 ? 1 : 0);
}

std::tm brokenDown(Wide calendar, bool utc) {
  const auto time = static_cast<std::time_t>(calendar / oneSecond);
  std::tm fields = {};
  if ((utc ? gmtime_r(&time, &fields) : localtime_r(&time, &fields)) == nullptr) {
    fields.tm_year = 70;
  }
  return fields;
}

std::optional<std::int64_t> secondsOf(const Moment& moment, const std::tm& fields) {
  return moment.isUtc ? utcSeconds(fields) : localSeconds(fields, -1);
}

// The seconds since 1970 of a calendar time. A missing day is that of the first record; a missing year is the one that
// brings the time nearest to the first record.
std::optional<std::int64_t> nearestTime(const Moment& moment, Wide first) {
  if (moment.hasYear) {
    return secondsOf(moment, moment.fields);
  }
  std::tm fields = moment.fields;
  const std::tm begin = brokenDown(first, moment.isUtc);
  fields.tm_year = begin.tm_year;
  if (!moment.hasDate) {
    fields.tm_mon = begin.tm_mon;
    fields.tm_mday = begin.tm_mday;
    return secondsOf(moment, fields);
  }
  std::optional<std::int64_t> best;
  const auto distance = [&](std::int64_t time) {
    const Wide difference = Wide{time} * Wide{oneSecond} - first;
    return difference < 0 ? -difference : difference;
  };
  for (fields.tm_year = begin.tm_year - 1; fields.tm_year <= begin.tm_year + 1; ++fields.tm_year) {
    const auto time = secondsOf(moment, fields);
    if (time && (!best || distance(*time) < distance(*best))) {
      best = time;
    }
  }
  return best;
}

// The first microsecond of a moment, by the clock of the records; it may be before that clock began.
Wide beginOf(const Moment& moment, const LogTimes& log) {
  switch (moment.base) {
  case Moment::Base::timestamp:
    return moment.microseconds;
  case Moment::Base::afterFirst:
    return Wide{log.first} + moment.microseconds;
  case Moment::Base::beforeLast:
    return Wide{log.last} - moment.microseconds;
  case Moment::Base::calendar:
    break;
  }
  if (!log.sync) {
    throw std::invalid_argument("calendar times need the relation between the clocks, which the inputs do not tell or "
                                "do not agree on: give --timesync, or time stamps");
  }
  const Wide offset = calendarOffset(*log.sync);
  const std::optional<std::int64_t> time = nearestTime(moment, log.first + offset);
  if (!time) {
    throw std::invalid_argument("there is no such day or hour in the calendar of this time zone");
  }
  return Wide{*time} * Wide{oneSecond} + moment.microseconds - offset;
}

} // namespace

void TimeRange::since(std::string_view moment) {
  since_.push_back(parseMoment(moment));
}

void TimeRange::until(std::string_view moment) {
  until_.push_back(parseMoment(moment));
}

void TimeRange::narrow(std::string_view range) {
  const std::size_t dots = range.find("..");
  const std::string_view first = range.substr(0, dots);
  const std::string_view last = dots == std::string_view::npos ? first : range.substr(dots + 2);
  if (first.empty() && last.empty()) {
    throw std::invalid_argument("a range is A..B, A.., ..B or A");
  }
  if (!first.empty()) {
    since(first);
  }
  const bool toTheEnd = dots == std::string_view::npos && since_.back().base == Moment::Base::beforeLast;
  if (!last.empty() && !toTheEnd) {
    until(last);
  }
  if (isFixed()) {
    const Range fixed = resolve({});
    if (fixed.first > fixed.last) {
      throw std::invalid_argument(fmt::format("the range {} is empty", range));
    }
  }
}

bool TimeRange::needs(Moment::Base base) const {
  const auto has = [&](const Moment& moment) { return moment.base == base; };
  return std::any_of(since_.begin(), since_.end(), has) || std::any_of(until_.begin(), until_.end(), has);
}

Range TimeRange::resolve(const LogTimes& log) const {
  constexpr Range none = {1, 0};
  Wide first = 0;
  Wide last = latest;
  for (const Moment& moment : since_) {
    first = std::max(first, beginOf(moment, log));
  }
  for (const Moment& moment : until_) {
    last = std::min(last, beginOf(moment, log) + (moment.span - 1));
  }
  return first <= last ? Range{static_cast<std::uint64_t>(first), static_cast<std::uint64_t>(last)} : none;
}

} // namespace vel::sources
