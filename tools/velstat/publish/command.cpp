// velstat publish: analytics entries from a file, through the plug-in's data callback, into a store.

#include <control/log.h>
#include <control/tally.h>
#include <formats/files.h>
#include <host/model/analytics.h>
#include <host/session.h>
#include <velstat/commands.h>
#include <velstat/options/hosted.h>
#include <velstat/options/open_tally.h>
#include <velstat/options/own_files.h>
#include <velstat/text/error.h>
#include <velstat/text/number_text.h>
#include <velstat/text/output.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <span>
#include <stdexcept>
#include <utility>
#include <vector>

namespace vel::stat {

namespace {

namespace fs = std::filesystem;

struct PublishOptions {
  std::string entries;
  std::string tally;
  std::string model;
  std::string plugIn;
  std::string log;
};

constexpr std::size_t fileLimit = std::size_t{1} << 30;
constexpr std::size_t batchEntries = 65536; // stored as one

std::string readEntries(const std::string& path) {
  std::string entries = formats::readFile(path, fileLimit);
  if (const std::size_t rest = entries.size() % host::entrySize; rest != 0) {
    throw Error(fmt::format("{}: offset {}: an entry of {} of its {} bytes; the file has {} bytes",
                            formats::inputName(path), entries.size() - rest, rest, host::entrySize, entries.size()));
  }
  return entries;
}

// The number of entries that the plug-in skips.
std::size_t otherVersions(std::string_view entries) {
  std::size_t count = 0;
  for (std::size_t i = 0; i < entries.size(); i += host::entrySize) {
    count += static_cast<std::uint8_t>(entries[i]) == host::entryVersion ? 0 : 1;
  }
  return count;
}

std::string published(std::string_view entries) {
  return countText(entries.size() / host::entrySize - otherVersions(entries), "entry", "entries") + " published";
}

// The service whose device takes batches.
const host::MachineService& registerServices(host::Session& session, const host::Machine& machine) {
  const host::MachineService* taker = nullptr;
  for (const host::MachineService& service : machine.services()) {
    session.registerService(service);
    if (taker == nullptr && service.device->hasCallback()) {
      taker = &service;
    }
  }
  if (taker == nullptr) {
    throw Error("no service of the model takes analytics: one needs \"KIPSupportsTallyStore\" and a device");
  }
  return *taker;
}

// Returns when the batch is in the store.
void publish(host::Session& session, const host::MachineService& taker, formats::Bytes batch) {
  if (!session.deliverAnalytics(taker, std::move(batch))) {
    throw Error("the plug-in has set a data callback, but no queue for it");
  }
  session.drain();
}

// The log is overwritten, and SQLite may write to any of the store's files.
void refuseSharedFiles(const PublishOptions& options, const host::Bundle& bundle) {
  std::vector<WrittenFile> written = {{options.log, "the log", "--log"}};
  for (const fs::path& file : control::tallyStoreFiles(options.tally)) {
    written.push_back({file, written.size() == 1 ? "the store" : "one of the store's files", "--tally"});
  }
  std::vector<ReadFile> read = {{options.entries, "the entries"}, {options.model, "the model"}};
  for (const fs::path& file : bundle.files()) {
    read.push_back({file, "one of the plug-in's files"});
  }
  requireOwnFiles(written, read);
}

void logTo(const std::string& path) {
  control::keepLogInMemory(false);
  if (!path.empty()) {
    try {
      control::setLogFile(path);
    } catch (const std::runtime_error& error) {
      throw Error(error.what());
    }
  }
}

int run(const PublishOptions& options) {
  const std::string entries = readEntries(options.entries);
  const host::DeviceModel model = readModel(options.model);
  host::Bundle bundle = loadBundle(options.plugIn);
  refuseSharedFiles(options, bundle);
  const OpenTally tally(options.tally); // before the log, so that an old log survives if the store is refused
  logTo(options.log);
  host::Machine machine(model);
  host::Session session(std::move(bundle), machine);
  session.open();
  session.schedule();
  const host::MachineService& taker = registerServices(session, machine);
  const auto bytes = std::as_bytes(std::span(entries));
  for (std::size_t begin = 0; begin < bytes.size(); begin += batchEntries * host::entrySize) {
    const auto batch = bytes.subspan(begin, std::min(batchEntries * host::entrySize, bytes.size() - begin));
    try {
      publish(session, taker, {batch.begin(), batch.end()});
    } catch (const formats::Error& error) {
      throw Error(fmt::format("{}; {} before", error.what(), published(std::string_view(entries).substr(0, begin))));
    }
  }
  session.close();
  std::string report = fmt::format("{} into {}", published(entries), options.tally);
  if (const std::size_t skipped = otherVersions(entries); skipped > 0) {
    report += fmt::format(", {} of another version of the key table skipped", skipped);
  }
  remark(report);
  if (const auto failure = control::logFileFailure()) {
    throw Error(*failure);
  }
  return 0;
}

} // namespace

void addPublish(CLI::App& app, int& status) {
  auto options = std::make_shared<PublishOptions>();
  CLI::App* const command =
      app.add_subcommand("publish", "Publish analytics entries from a file through the plug-in into a store");
  command->add_option("entries", options->entries, "Entries of 7 bytes one behind the other, - for standard input")
      ->type_name("FILE")
      ->required();
  command->add_option("--tally", options->tally, "The store, made when there is none")->type_name("FILE")->required();
  command->add_option("--model", options->model, "The device model (default: built in); its own batches stay out")
      ->type_name("FILE");
  command->add_option("--plugin", options->plugIn, "The plug-in bundle (default: the one beside this command)")
      ->type_name("BUNDLE");
  command->add_option("--log", options->log, "Write the plug-in's log into this file, as JSON lines")
      ->type_name("FILE");
  command->footer("Example:\n  velstat publish --tally tally.sqlite --log publish.jsonl entries.bin");
  command->callback([options, &status] { status = run(*options); });
}

} // namespace vel::stat
