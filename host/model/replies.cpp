// Reads reply lists, and answers from them in order.
#include "host/model/replies.h"

#include <host/model/reply_contents.h>
#include <host/model/reply_layouts.h>

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>

namespace vel::host {

namespace {

constexpr std::size_t repliesLimit = 4096;

// Text padded with zeros to `size` bytes; without a size, the text and its NUL.
formats::Bytes readText(const formats::JsonNode& text, const std::optional<formats::JsonNode>& size) {
  const std::string content = text.text(replyLimit - 1);
  const std::size_t width = size ? size->unsignedNumber(replyLimit) : content.size() + 1;
  if (content.size() > width) {
    text.fail(fmt::format("has {} bytes, its field has {}", content.size(), width));
  }
  formats::Bytes bytes(width);
  std::transform(content.begin(), content.end(), bytes.begin(), [](char c) { return static_cast<std::byte>(c); });
  return bytes;
}

// Returns several replies if the content describes several.
std::vector<Reply> readReply(const formats::JsonNode& node) {
  std::vector<std::string_view> ways = {"hex", "u32", "text"};
  for (const ReplyContent& content : replyContents()) {
    ways.push_back(content.name);
  }
  std::vector<std::string_view> keys = ways;
  keys.insert(keys.end(), {"size", "length", "result"});
  node.allowKeys(keys);
  if (std::count_if(ways.begin(), ways.end(), [&](auto key) { return node.find(key).has_value(); }) > 1) {
    node.fail("has more than one content");
  }

  Reply reply;
  if (const auto hex = node.find("hex")) {
    reply.content = hex->hex(replyLimit);
  }
  if (const auto number = node.find("u32")) {
    append(reply.content.emplace(), number->unsignedNumber(std::numeric_limits<std::uint32_t>::max()), 4);
  }
  const auto size = node.find("size");
  if (const auto text = node.find("text")) {
    reply.content = readText(*text, size);
  } else if (size) {
    node.fail("has a \"size\" without a \"text\"");
  }
  if (const auto length = node.find("length")) {
    reply.length = length->unsignedNumber(std::numeric_limits<std::uint64_t>::max());
  }
  if (const auto result = node.find("result")) {
    reply.result = result->code();
  }
  std::vector<Reply> replies(1, reply);
  for (const ReplyContent& content : replyContents()) {
    if (const auto value = node.find(content.name)) {
      std::vector<formats::Bytes> all = content.read(*value);
      replies.resize(all.size(), reply);
      for (std::size_t i = 0; i < all.size(); ++i) {
        replies[i].content = std::move(all[i]);
      }
    }
  }
  return replies;
}

// An id as the key of an object: "215" or "0xD7".
std::uint32_t readID(const std::string& key, const formats::JsonNode& node) {
  const bool hexadecimal = key.starts_with("0x");
  std::uint32_t id = 0;
  const char* const begin = key.data() + (hexadecimal ? 2 : 0);
  const char* const end = key.data() + key.size();
  const auto [stop, error] = std::from_chars(begin, end, id, hexadecimal ? 16 : 10);
  if (error != std::errc() || stop != end) {
    node.fail(fmt::format("the key {} is not an id from 0 to 4294967295", formats::inQuotes(key)));
  }
  return id;
}

ReplyLists readLists(const std::optional<formats::JsonNode>& node, ReplyBudget& budget) {
  ReplyLists lists;
  if (!node) {
    return lists;
  }
  for (const auto& [key, list] : node->members()) {
    const auto [place, isNew] = lists.try_emplace(readID(key, *node));
    if (!isNew) {
      list.fail("has the same id as an earlier key");
    }
    for (const formats::JsonNode& reply : list.items(repliesLimit)) {
      for (Reply& one : readReply(reply)) {
        budget.take(one, reply);
        place->second.push_back(std::move(one));
      }
    }
    if (place->second.empty()) {
      list.fail("has no replies");
    }
  }
  return lists;
}

} // namespace

void ReplyBudget::take(const Reply& reply, const formats::JsonNode& node) {
  const std::size_t size = sizeof reply + (reply.content ? reply.content->size() : 0);
  if (size > left_) {
    node.fail("makes more than all replies of a model may take together");
  }
  left_ -= size;
}

ReplyModel readReplies(const formats::JsonNode& object, ReplyBudget& budget) {
  return {readLists(object.find("property-replies"), budget), readLists(object.find("command-replies"), budget)};
}

IOReturn ReplyBook::property(std::uint32_t id, std::span<std::byte> output, std::size_t& reported) {
  return answer(model_.properties, nextProperty_, id, output, reported);
}

IOReturn ReplyBook::command(std::uint32_t id, std::span<std::byte> output, std::size_t& reported) {
  return answer(model_.commands, nextCommand_, id, output, reported);
}

IOReturn ReplyBook::answer(const ReplyLists& lists, Places& places, std::uint32_t id, std::span<std::byte> output,
                           std::size_t& reported) {
  const auto found = lists.find(id);
  if (found == lists.end()) {
    return kIOReturnUnsupported;
  }
  const Reply* reply = nullptr;
  {
    const std::scoped_lock lock(mutex_);
    std::size_t& place = places[id];
    reply = &found->second[place];
    place = std::min(place + 1, found->second.size() - 1);
  }
  if (reply->content) {
    const std::size_t written = std::min(output.size(), reply->content->size());
    std::copy_n(reply->content->begin(), written, output.begin());
    reported = written;
  }
  if (reply->length) {
    reported = *reply->length;
  }
  return reply->result;
}

} // namespace vel::host
