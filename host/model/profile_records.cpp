// Profile records in a device model: a scene by its name, recorded by a modelled co-processor, or random bytes.
#include <host/model/reply_contents.h>
#include <synthetic/record_stream.h>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <limits>

namespace vel::host {

namespace {

constexpr std::string_view randomFlow = "random";
constexpr std::size_t recordLimit = 65536; // of one content, all its batches together

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

[[noreturn]] void refuse(const formats::JsonNode& flow, const std::string& name) {
  std::vector<std::string_view> known;
  for (const synthetic::Scene& scene : synthetic::scenes()) {
    known.push_back(scene.name);
  }
  flow.fail(fmt::format("{} is not one of {}, {}", formats::inQuotes(name), fmt::join(known, ", "), randomFlow));
}

} // namespace

std::vector<formats::Bytes> readProfileRecords(const formats::JsonNode& node) {
  constexpr auto any = std::numeric_limits<std::uint64_t>::max();
  constexpr std::size_t most = replyLimit / sizeof(_VelProfileReport);
  node.allowKeys({"flow", "seed", "clock", "count", "batches"});
  node.requireKeys({"flow"});
  const formats::JsonNode flow = *node.find("flow");
  const std::string name = flow.text(64);
  const std::uint64_t seed = given(node, "seed", any, 1);
  const std::uint64_t clock = given(node, "clock", any, synthetic::Recorder::usualClock);
  const std::size_t count = given(node, "count", most, 32);
  const std::size_t batches = given(node, "batches", 4096, 1);
  if (batches == 0) {
    node.fail("has no batches");
  }
  if (count * batches > recordLimit) {
    node.fail(fmt::format("makes {} records, at most {} are allowed", count * batches, recordLimit));
  }
  if (name == randomFlow) {
    return batchesOf(synthetic::RandomStream(seed), batches, count);
  }
  const synthetic::Scene* const scene = synthetic::findScene(name);
  if (scene == nullptr) {
    refuse(flow, name);
  }
  return batchesOf(synthetic::FlowStream(seed, *scene, clock), batches, count);
}

} // namespace vel::host
