// The parts of a load that need no server: the plan, ids of captures, the spool, counts of rows.
#include <fleet/capture_list.h>
#include <fleet/content_id.h>
#include <fleet/error.h>
#include <fleet/load.h>
#include <fleet/row_counts.h>
#include <fleet/spool.h>

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;
using namespace vel::fleet;
using testing::ElementsAre;
using testing::HasSubstr;

class LoadParts : public testing::Test {
protected:
  LoadParts() : folder_(fs::temp_directory_path() / ("load_parts." + std::to_string(getpid()))) {
    fs::create_directories(folder_);
  }
  ~LoadParts() override { fs::remove_all(folder_); }

  fs::path file(const std::string& name, const std::string& content) const {
    const fs::path path = folder_ / name;
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
    return path;
  }

  std::string contentOf(const fs::path& path) const {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }

  const fs::path folder_;
};

std::string errorOf(auto call) {
  try {
    call();
  } catch (const vel::formats::Error& error) {
    return error.what();
  }
  return "no error";
}

TEST(SipHash, IsTheSameInPieces) {
  const std::string text = "the quick brown fox jumps over the lazy dog";
  for (std::size_t size = 0; size <= text.size(); ++size) {
    for (std::size_t cut = 0; cut <= size; ++cut) {
      SipHash hash;
      hash.add(std::string_view(text).substr(0, cut));
      hash.add(std::string_view(text).substr(cut, size - cut));
      ASSERT_EQ(hash.value(), sipHash(std::string_view(text).substr(0, size))) << size << " cut at " << cut;
    }
  }
}

// The values are what `SELECT sipHash64(…)` gives.
TEST(SipHash, IsThatOfTheServer) {
  EXPECT_EQ(sipHash(""), 2202906307356721367U);
  EXPECT_EQ(sipHash("a"), 10863254463029944905U);
  EXPECT_EQ(sipHash("unit-000001"), 8930738892761087092U);
}

TEST_F(LoadParts, IdOfACaptureComesFromItsContent) {
  file("a/x.state", "one");
  file("a/y.state", "two");
  file("b/x.state", "one");
  file("b/y.state", "two");
  const std::string id = vel::fleet::contentOf(folder_ / "a").id;
  EXPECT_EQ(vel::fleet::contentOf(folder_ / "b").id, id);
  EXPECT_EQ(id.size(), 16U);
  for (const auto& [name, content] : {std::pair("x.state", "onf"), {"x.state", "on"}, {"x.state", ""}}) {
    file(std::string("b/") + name, content);
    EXPECT_NE(vel::fleet::contentOf(folder_ / "b").id, id) << content;
  }
  file("b/x.state", "one");
  fs::rename(folder_ / "b/y.state", folder_ / "b/z.state");
  EXPECT_NE(vel::fleet::contentOf(folder_ / "b").id, id);
  // Where one file ends and the next one begins matters.
  file("c/x.state", "onet");
  file("c/y.state", "wo");
  EXPECT_NE(vel::fleet::contentOf(folder_ / "c").id, id);
}

TEST_F(LoadParts, ListHasPathsFromItsFolder) {
  const fs::path list =
      file("list.jsonl", "{\"path\": \"a\", \"device\": \"d\", \"build\": \"b\", \"lot\": \"l\", \"more\": 1}\n"
                         "\n{\"path\": \"/b\"}\n");
  const std::vector<ListedCapture> captures = readCaptureList(list);
  ASSERT_EQ(captures.size(), 2U);
  EXPECT_EQ(captures[0].path, (folder_ / "a").string());
  EXPECT_EQ(captures[0].origin.device, "d");
  EXPECT_EQ(captures[0].origin.build, "b");
  EXPECT_EQ(captures[0].origin.lot, "l");
  EXPECT_EQ(captures[1].path, "/b");
  EXPECT_EQ(captures[1].origin.device, "");
}

// The plan as text: a line for each batch, with its shard, devices and how many captures each has.
std::vector<std::string> textOf(const LoadPlan& plan) {
  std::vector<std::string> lines;
  for (const PlannedBatch& batch : plan.batches) {
    std::string line = std::to_string(batch.shard) + ":";
    for (const PlannedDevice& device : batch.devices) {
      line += " " + device.device + "=" + std::to_string(device.captures.size());
    }
    lines.push_back(line);
  }
  return lines;
}

TEST_F(LoadParts, PlanDoesNotDependOnTheOrderOfTheList) {
  std::vector<ListedCapture> captures;
  for (const std::string device : {"a", "b", "c", "d"}) {
    captures.push_back({file(device + "1", device + "1").string(), {device, "", ""}});
    captures.push_back({file(device + "2", device + "2").string(), {device, "", ""}});
  }
  captures.push_back({file("again", "a1").string(), {"a", "", ""}}); // the same capture
  captures.push_back({(folder_ / "a1").string(), {"b", "", ""}});    // of another device
  captures.push_back({(folder_ / "missing").string(), {"a", "", ""}});
  captures.push_back({(folder_ / "a1").string(), {}});
  const auto shardOf = [](std::string_view device) { return std::size_t(device[0] - 'a') % 2; };
  std::sort(captures.begin(), captures.end(), [](const auto& x, const auto& y) { return x.path < y.path; });
  std::set<std::vector<std::string>> plans;
  for (int turn = 0; turn < 5; ++turn) {
    std::rotate(captures.begin(), captures.begin() + 3, captures.end());
    std::vector<std::string> complaints;
    const LoadPlan plan = planLoad(captures, shardOf, [&](std::string_view line) { complaints.emplace_back(line); });
    EXPECT_EQ(plan.captures, captures.size());
    EXPECT_EQ(plan.refused, 2U);
    EXPECT_EQ(plan.repeated, 1U);
    EXPECT_EQ(plan.bytes, 9U * 2);
    EXPECT_EQ(complaints.size(), 2U);
    plans.insert(textOf(plan));
  }
  EXPECT_THAT(plans, ElementsAre(ElementsAre("0: a=2 c=2", "1: b=3 d=2")));
}

TEST_F(LoadParts, LargeBatchesAreDividedAndShardsAlternate) {
  std::vector<ListedCapture> captures;
  for (const std::string device : {"a", "b", "c", "d", "e", "f"}) {
    const fs::path path = file(device, device);
    fs::resize_file(path, 40 << 20);
    captures.push_back({path.string(), {device, "", ""}});
  }
  const LoadPlan plan = planLoad(
      captures, [](std::string_view device) { return device[0] < 'e' ? 0U : 1U; }, [](std::string_view) { FAIL(); });
  EXPECT_THAT(textOf(plan), ElementsAre("0: a=1", "1: e=1", "0: b=1", "1: f=1", "0: c=1", "0: d=1"));
}

const SpoolEntry entries[] = {
    {SpoolEntry::Kind::rows, 1, 7, 3, 0, "records", std::string("\0\1\xff rows", 8)},
    {SpoolEntry::Kind::check, 0, 8, 0, 0, "", ""},
    {SpoolEntry::Kind::rows, 1, 8, 0, 2, "captures", "row"},
};

class Spool : public LoadParts {
protected:
  Spool() {
    SpoolWriter writer(path_, "for these tables");
    for (const SpoolEntry& entry : entries) {
      writer.add(entry);
    }
  }

  const fs::path path_ = folder_ / "spool";
};

TEST_F(Spool, GivesBackWhatWasWritten) {
  SpoolReader reader(path_);
  EXPECT_EQ(reader.tables(), "for these tables");
  for (const SpoolEntry& entry : entries) {
    EXPECT_EQ(reader.next(), entry);
  }
  EXPECT_EQ(reader.next(), std::nullopt);
  EXPECT_FALSE(reader.wasCut());
}

TEST_F(Spool, OnlyItsOwnerReadsItAndItReplacesNothing) {
  EXPECT_EQ(fs::status(path_).permissions(), fs::perms::owner_read | fs::perms::owner_write);
  EXPECT_THAT(errorOf([&] { SpoolWriter(path_, ""); }), HasSubstr("File exists"));
}

TEST_F(Spool, FullDiskIsAnError) {
  EXPECT_THAT(errorOf([&] { SpoolReader("/dev/full"); }), HasSubstr("regular file"));
}

TEST_F(Spool, EndsWhereItWasCut) {
  const std::string whole = contentOf(path_);
  std::size_t begun = 0;
  for (std::size_t size = 0; size < whole.size(); ++size) {
    const std::string_view cut = std::string_view(whole).substr(0, size);
    std::size_t read = 0;
    const std::string error = errorOf([&] {
      SpoolReader reader(cut, "cut");
      while (const auto entry = reader.next()) {
        ASSERT_EQ(*entry, entries[read]) << size;
        ++read;
      }
      begun += reader.wasCut() ? 1 : 0;
    });
    // Without its first entry it is not a spool.
    ASSERT_TRUE(error == "no error" || (read == 0 && error.find("cut: ") == 0)) << size << error;
  }
  EXPECT_GT(begun, 0U);
}

TEST_F(Spool, EveryDamagedByteIsNoticed) {
  const std::string whole = contentOf(path_);
  for (std::size_t at = 0; at < whole.size(); ++at) {
    std::string damaged = whole;
    damaged[at] = static_cast<char>(damaged[at] ^ 0x40);
    std::size_t read = 0;
    bool cut = false;
    const std::string error = errorOf([&] {
      SpoolReader reader(damaged, "damaged");
      while (const auto entry = reader.next()) {
        ASSERT_EQ(*entry, entries[read]) << at;
        ++read;
      }
      cut = reader.wasCut();
    });
    EXPECT_TRUE(error != "no error" || cut) << at;
    EXPECT_LT(read, std::size(entries)) << at;
  }
}

TEST(RowCounts, BytesAreReadBack) {
  const TableCounts counts = {{"records", {{{"device", "capture"}, 5}, {{"other", ""}, 1ULL << 40}}},
                              {"log", {{{std::string(300, 'x'), "c"}, 0}}}};
  const std::string bytes = encodeCounts(counts);
  EXPECT_EQ(decodeCounts(bytes), counts);
  EXPECT_THAT(errorOf([&] { decodeCounts(bytes.substr(0, bytes.size() - 1)); }), HasSubstr("in the middle"));
  EXPECT_THAT(errorOf([&] { decodeCounts(std::string(12, '\xff')); }), HasSubstr("too great"));
  EXPECT_THAT(errorOf([&] { decodeCounts(encodeCounts({{"nothing", {{{"", ""}, 1}}}})); }), HasSubstr("'nothing'"));
}

} // namespace
