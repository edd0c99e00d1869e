// Profile records in a device model: a scene by its name, recorded by a modelled co-processor, or random bytes.
#include <host/model/reply_contents.h>
#include <synthetic/flows.h>
#include <synthetic/record_stream.h>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <initializer_list>
#include <limits>

namespace vel::host {

namespace {

constexpr std::string_view randomFlow = "random";
constexpr std::size_t recordLimit = 65536; // of one content, all its batches together
constexpr std::size_t batchesLimit = 4096;
constexpr std::size_t changesLimit = 64;
constexpr std::size_t damagesLimit = 256;
constexpr std::size_t silentLimit = 16;
constexpr auto anyNumber = std::numeric_limits<std::uint64_t>::max();
constexpr auto anySequence = std::numeric_limits<std::uint32_t>::max();

std::uint64_t given(const formats::JsonNode& node, std::string_view key, std::uint64_t most,
                    std::uint64_t defaultValue) {
  const auto value = node.find(key);
  return value ? value->unsignedNumber(most) : defaultValue;
}

template <class Stream>
std::vector<formats::Bytes> batchesOf(Stream stream, std::size_t batches, std::size_t count) {
  std::vector<formats::Bytes> result;
  std::vector<_VelProfileReport> records(count);
  for (std::size_t i = 0; i < batches; ++i) {
    stream.fill(records);
    const auto bytes = std::as_bytes(std::span(records));
    result.emplace_back(bytes.begin(), bytes.end());
  }
  return result;
}

std::string readSensor(const formats::JsonNode& node) {
  const std::string name = node.text(64);
  const auto sensors = synthetic::sensors();
  if (std::find(sensors.begin(), sensors.end(), name) == sensors.end()) {
    node.fail(fmt::format("{} is not one of {}", formats::inQuotes(name), fmt::join(sensors, ", ")));
  }
  return name;
}

// `others`: further names that are allowed, for the error message.
const synthetic::Scene& readScene(const formats::JsonNode& flow, std::initializer_list<std::string_view> others) {
  const std::string name = flow.text(64);
  if (const synthetic::Scene* const scene = synthetic::findScene(name)) {
    return *scene;
  }
  std::vector<std::string_view> known;
  for (const synthetic::Scene& scene : synthetic::scenes()) {
    known.push_back(scene.name);
  }
  known.insert(known.end(), others);
  flow.fail(fmt::format("{} is not one of {}", formats::inQuotes(name), fmt::join(known, ", ")));
}

std::vector<synthetic::Change> readChanges(const formats::JsonNode& list) {
  std::vector<synthetic::Change> changes;
  for (const formats::JsonNode& item : list.items(changesLimit)) {
    item.allowKeys({"after", "flow", "clock", "sequence"});
    item.requireKeys({"after"});
    const formats::JsonNode after = *item.find("after");
    synthetic::Change change = {.after = after.unsignedNumber(recordLimit)};
    if (!changes.empty() && change.after < changes.back().after) {
      after.fail("is less than that of the change before it");
    }
    if (const auto flow = item.find("flow")) {
      change.scene = &readScene(*flow, {});
    }
    if (const auto clock = item.find("clock")) {
      change.clock = clock->unsignedNumber(anyNumber);
    }
    if (const auto sequence = item.find("sequence")) {
      change.sequence = static_cast<std::uint32_t>(sequence->unsignedNumber(anySequence));
    }
    changes.push_back(change);
  }
  return changes;
}

// Removes or changes bytes of a batch, as if they were lost or damaged on the way to the host.
void damage(std::vector<formats::Bytes>& batches, const formats::JsonNode& item) {
  item.allowKeys({"batch", "at", "lost", "hex"});
  item.requireKeys({"batch", "at"});
  const formats::JsonNode number = *item.find("batch");
  const std::uint64_t index = number.unsignedNumber(batchesLimit);
  if (index >= batches.size()) {
    number.fail(fmt::format("is not one of the {} batches, which count from 0", batches.size()));
  }
  formats::Bytes& batch = batches[index];
  const auto lost = item.find("lost");
  const auto hex = item.find("hex");
  if (lost.has_value() == hex.has_value()) {
    item.fail("must have one of the keys lost, hex");
  }
  const std::uint64_t at = item.find("at")->unsignedNumber(replyLimit);
  const formats::Bytes bytes = hex ? hex->hex(replyLimit) : formats::Bytes();
  const std::uint64_t size = hex ? bytes.size() : lost->unsignedNumber(replyLimit);
  if (at + size > batch.size()) {
    item.fail(fmt::format("ends at byte {}, but the batch has {}", at + size, batch.size()));
  }
  const auto place = batch.begin() + static_cast<std::ptrdiff_t>(at);
  if (hex) {
    std::copy(bytes.begin(), bytes.end(), place);
  } else {
    batch.erase(place, place + static_cast<std::ptrdiff_t>(size));
  }
}

} // namespace

std::vector<formats::Bytes> readProfileRecords(const formats::JsonNode& node) {
  constexpr std::size_t most = replyLimit / sizeof(_VelProfileReport);
  node.allowKeys({"flow", "seed", "clock", "sequence", "count", "batches", "silent", "later", "damage"});
  node.requireKeys({"flow"});
  const formats::JsonNode flow = *node.find("flow");
  const bool isRandom = flow.text(64) == randomFlow;
  const std::uint64_t seed = given(node, "seed", anyNumber, 1);
  const std::uint64_t clock = given(node, "clock", anyNumber, synthetic::Recorder::usualClock);
  const std::size_t count = given(node, "count", most, 32);
  const std::size_t batches = given(node, "batches", batchesLimit, 1);
  if (batches == 0) {
    node.fail("has no batches");
  }
  if (count * batches > recordLimit) {
    node.fail(fmt::format("makes {} records, at most {} are allowed", count * batches, recordLimit));
  }
  synthetic::Recorder recorder(seed, clock);
  recorder.set(clock, static_cast<std::uint32_t>(given(node, "sequence", anySequence, 0)));
  if (const auto silent = node.find("silent")) {
    for (const formats::JsonNode& sensor : silent->items(silentLimit)) {
      recorder.silence(readSensor(sensor));
    }
  }
  const auto later = node.find("later");
  std::vector<synthetic::Change> changes = later ? readChanges(*later) : std::vector<synthetic::Change>();
  std::vector<formats::Bytes> result =
      isRandom
          ? batchesOf(synthetic::RandomStream(seed), batches, count)
          : batchesOf(synthetic::FlowStream(std::move(recorder), readScene(flow, {randomFlow}), std::move(changes)),
                      batches, count);
  if (const auto damages = node.find("damage")) {
    for (const formats::JsonNode& item : damages->items(damagesLimit)) {
      damage(result, item);
    }
  }
  return result;
}

} // namespace vel::host
