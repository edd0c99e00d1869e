// velstat fleet load: loads captures into a cluster.

#include <fleet/load.h>
#include <velstat/decode/progress.h>
#include <velstat/fleet/server_options.h>
#include <velstat/fleet/subcommands.h>
#include <velstat/options/number_option.h>
#include <velstat/options/output_options.h>
#include <velstat/text/json_writer.h>
#include <velstat/text/output.h>
#include <velstat/text/sink.h>
#include <velstat/text/table.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace vel::stat {

namespace {

struct LoadLine {
  ServerOptions server;
  std::vector<std::string> servers;
  std::vector<std::string> inputs;
  fleet::Origin origin;
  std::filesystem::path list;
  std::filesystem::path spool = "velstat-fleet.spool";
  std::filesystem::path resume;
  std::string format = "table";
  unsigned patience = 30;
  unsigned quorum = 1;
};

std::vector<fleet::ListedCapture> capturesOf(const LoadLine& line) {
  std::vector<fleet::ListedCapture> captures;
  if (!line.list.empty()) {
    captures = fleet::readCaptureList(line.list);
  }
  for (const std::string& input : line.inputs) {
    captures.push_back({input, {}});
  }
  const auto fill = [](std::string& into, const std::string& from) {
    if (into.empty()) {
      into = from;
    }
  };
  for (fleet::ListedCapture& capture : captures) {
    fill(capture.origin.device, line.origin.device);
    fill(capture.origin.build, line.origin.build);
    fill(capture.origin.lot, line.origin.lot);
  }
  return captures;
}

struct SummaryRow {
  const char* name;
  const char* key; // in JSON
  fleet::Amount amount;
};

void writeSummary(const fleet::LoadSummary& summary, bool json) {
  const SummaryRow rows[] = {{"read", "read", summary.read},
                             {"written", "written", summary.written},
                             {"already there", "already there", summary.alreadyThere},
                             {"refused", "refused", summary.refused},
                             {"in the spool", "spooled", summary.spooled}};
  StandardOutput out;
  if (json) {
    JsonWriter writer(out);
    writer.beginObject();
    for (const SummaryRow& row : rows) {
      writer.key(row.key);
      writer.beginObject();
      writer.members("captures", row.amount.captures, "records", row.amount.records);
      writer.endObject();
    }
    writer.endObject();
    out += '\n';
  } else {
    for (const SummaryRow& row : rows) {
      out +=
          fmt::format("{:<14} {:>12} records of {:>9} captures\n", row.name, row.amount.records, row.amount.captures);
    }
  }
  out.flush();
}

int run(const LoadLine& line) {
  if (line.resume.empty() && line.inputs.empty() && line.list.empty()) {
    throw CLI::ValidationError("load", "inputs, --list or --resume is required");
  }
  if (!line.resume.empty() && (!line.inputs.empty() || !line.list.empty())) {
    throw CLI::ValidationError("--resume", "takes no inputs: the spool holds all that is to be written");
  }
  if (line.resume.empty() && std::filesystem::exists(std::filesystem::symlink_status(line.spool))) {
    throw fleet::Error(fmt::format("{}: there is a spool already: continue it with --resume, or name another one with "
                                   "--spool",
                                   line.spool.string()));
  }
  std::mutex mutex; // guards stderr
  std::optional<Progress> progress;
  const auto say = [&](std::string_view text) {
    const std::lock_guard lock(mutex);
    if (progress) {
      progress->clear();
    }
    complain(text);
  };
  std::vector<fleet::ServerAddress> addresses;
  for (const std::string& server : line.servers.empty() ? std::vector{line.server.url} : line.servers) {
    addresses.push_back(line.server.address());
    addresses.back().url = server;
  }
  const std::vector<fleet::ListedCapture> captures = capturesOf(line);
  fleet::Nodes nodes(addresses);
  const fleet::LoadPlan plan = fleet::planLoad(
      captures, [&](std::string_view device) { return nodes.shardOf(device); }, say);
  progress.emplace(plan.bytes);
  const fleet::LoadOptions options = {
      .delivery = {.patience = std::chrono::seconds(line.patience),
                   .quorum = line.quorum,
                   .spool = line.spool,
                   .complain = say},
      .complain = say,
      .progress =
          [&](std::uint64_t records, std::uint64_t bytes) {
            const std::lock_guard lock(mutex);
            progress->update(records, bytes);
          },
  };
  const fleet::LoadSummary summary =
      line.resume.empty() ? fleet::load(nodes, plan, options) : fleet::resumeLoad(nodes, line.resume, options);
  progress->clear();
  writeSummary(summary, line.format == "json");
  return summary.isComplete() ? 0 : 1;
}

} // namespace

void addFleetLoad(CLI::App& fleet, int& status) {
  auto line = std::make_shared<LoadLine>();
  CLI::App* const command = fleet.add_subcommand("load", "Write captures into the tables, each once");
  command->add_option("INPUT", line->inputs, "What velstat decode reads, except for pipes")->type_name("INPUT");
  command->add_option("--list", line->list, R"(JSON lines: {"path": …, "device": …, "build": …, "lot": …})")
      ->type_name("FILE");
  command->add_option("--device", line->origin.device, "The device's id, where list and manifest have none")
      ->type_name("ID");
  command->add_option("--build", line->origin.build, "Of its firmware, likewise")->type_name("NAME");
  command->add_option("--lot", line->origin.lot, "Of its hardware, likewise")->type_name("NAME");
  addServerOptions(*command, line->server);
  command->remove_option(command->get_option("--to"));
  command->add_option("--to", line->servers, "A node's HTTP interface")->type_name("URL");
  command->add_option("--spool", line->spool, "Keeps what could not be written")
      ->type_name("FILE")
      ->capture_default_str();
  command->add_option("--resume", line->resume, "Writes what this spool holds, and removes it")->type_name("FILE");
  command->add_option("--patience", line->patience, "Seconds that a shard may fail before its rows go to the spool")
      ->type_name("N")
      ->transform(decimal(0U, longestTimeout))
      ->capture_default_str();
  command->add_option("--quorum", line->quorum, "Replicas that must have a block before it counts as written")
      ->type_name("N")
      ->transform(decimal(1U, 16U))
      ->capture_default_str();
  command->add_option("--format", line->format, "Of the summary: table or json")
      ->check(CLI::IsMember({"table", "json"}))
      ->capture_default_str();
  addOutputOptions(*command);
  command->footer("Examples:\n"
                  "  velstat fleet load --device A17 --build 1.2 --lot 7 snapshot\n"
                  "  velstat fleet load --to http://127.0.0.1:8123 --list captures.jsonl\n"
                  "  velstat fleet load --resume velstat-fleet.spool");
  command->callback([line, &status] { status = run(*line); });
}

} // namespace vel::stat
