// The replies of a modelled driver: a list for each property id and each command, given in order.
#pragma once

#include <formats/json_node.h>
#include <formats/value.h>

#include <IOKit/IOTypes.h>

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

namespace vel::host {

struct Reply {
  std::optional<formats::Bytes> content; // none: the output is not written
  std::optional<std::uint64_t> length;   // reported instead of the bytes written
  IOReturn result = kIOReturnSuccess;
};

// The last reply of a list repeats.
using ReplyLists = std::map<std::uint32_t, std::vector<Reply>>;

struct ReplyModel {
  ReplyLists properties;
  ReplyLists commands;
};

// Limits the memory of all replies of a model, since a few words can describe many large ones.
class ReplyBudget {
public:
  void take(const Reply& reply, const formats::JsonNode& node);

private:
  std::size_t left_ = std::size_t{32} << 20; // bytes
};

// Reads the keys "property-replies" and "command-replies" of an object that may have other keys.
ReplyModel readReplies(const formats::JsonNode& object, ReplyBudget& budget);

// The reply lists of one driver, and the position in each. [any thread]
class ReplyBook {
public:
  explicit ReplyBook(ReplyModel model) : model_(std::move(model)) {}

  // Writes as much of the next reply as fits to `output`, and the written length, or the one that the model gives
  // instead, to `reported`. Returns kIOReturnUnsupported for a property or command without replies.
  IOReturn property(std::uint32_t id, std::span<std::byte> output, std::size_t& reported);
  IOReturn command(std::uint32_t id, std::span<std::byte> output, std::size_t& reported);

private:
  using Places = std::map<std::uint32_t, std::size_t>;
  IOReturn answer(const ReplyLists& lists, Places& places, std::uint32_t id, std::span<std::byte> output,
                  std::size_t& reported);

  const ReplyModel model_;
  std::mutex mutex_;
  Places nextProperty_;
  Places nextCommand_;
};

} // namespace vel::host
