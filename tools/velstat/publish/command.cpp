// velstat publish: analytics entries from a file, through the plug-in's data callback, into a store.

#include <control/log.h>
#include <control/queue.h>
#include <control/tally.h>
#include <host/model/analytics.h>
#include <host/session.h>
#include <velstat/commands.h>
#include <velstat/options/hosted.h>
#include <velstat/options/open_tally.h>
#include <velstat/options/own_files.h>
#include <velstat/options/wrong_usage.h>
#include <velstat/publish/entries.h>
#include <velstat/text/error.h>
#include <velstat/text/number_text.h>
#include <velstat/text/output.h>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <cstddef>
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

constexpr std::size_t batchEntries = 65536; // stored as one

// How many entries the plug-in publishes, and how many it skips.
struct Counts {
  std::size_t published = 0;
  std::size_t skipped = 0; // of another version of the key table

  void add(std::span<const std::byte> entries) {
    for (std::size_t i = 0; i < entries.size(); i += host::entrySize) {
      ++(std::to_integer<unsigned>(entries[i]) == host::entryVersion ? published : skipped);
    }
  }
  std::string text() const { return countText(published, "entry", "entries") + " published"; }
};

// Registers all services; returns the first whose device takes batches.
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
  std::vector<ReadFile> read = {{options.entries, "the entries"}, {modelFile(options.model), "the model"}};
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
  Entries entries(options.entries);
  const host::DeviceModel model = readModel(options.model);
  host::Bundle bundle = loadBundle(options.plugIn);
  refuseSharedFiles(options, bundle);
  control::startQueues();               // before anything is created, because it may fail
  const OpenTally tally(options.tally); // before the log, so that an old log survives if the store is refused
  logTo(options.log);
  host::Machine machine(model);
  host::Session session(std::move(bundle), machine);
  session.open();
  session.schedule();
  const host::MachineService& taker = registerServices(session, machine);
  Counts counts;
  try {
    for (formats::Bytes batch = entries.next(batchEntries); !batch.empty(); batch = entries.next(batchEntries)) {
      Counts after = counts;
      after.add(batch);
      publish(session, taker, std::move(batch));
      counts = after;
    }
  } catch (const formats::Error& error) {
    throw Error(fmt::format("{}; {} before", error.what(), counts.text()));
  }
  session.close();
  std::string report = fmt::format("{} into {}", counts.text(), options.tally);
  if (counts.skipped > 0) {
    report += fmt::format(", {} of another version of the key table skipped", counts.skipped);
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
  command->add_option("entries", options->entries, "File of consecutive 7-byte entries; - is standard input")
      ->type_name("FILE")
      ->check(notAModel())
      ->required();
  command->add_option("--tally", options->tally, "The store, made when there is none")->type_name("FILE")->required();
  command
      ->add_option("--model", options->model,
                   "The device model: a file, or the name of a shipped one; its own batches stay out")
      ->type_name("MODEL")
      ->default_str("the one that is built in");
  command->add_option("--plugin", options->plugIn, "The plug-in bundle")
      ->type_name("BUNDLE")
      ->default_str("the one beside this command");
  command->add_option("--log", options->log, "Write the plug-in's log into this file, as JSON lines")
      ->type_name("FILE");
  command->footer("Example:\n  velstat publish --tally tally.sqlite --log publish.jsonl entries.bin");
  command->callback([options, &status] { status = run(*options); });
}

} // namespace vel::stat
