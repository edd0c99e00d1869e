// velstat generate: the command line; writes synthetic records to standard output, or a fleet of captures into a
// folder.

#include <synthetic/record_stream.h>
#include <velstat/commands.h>
#include <velstat/generate/device_log.h>
#include <velstat/generate/fleet.h>
#include <velstat/options/number_option.h>
#include <velstat/text/error.h>
#include <velstat/text/output.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <memory>
#include <unistd.h>
#include <vector>

namespace vel::stat {

namespace {

struct GenerateOptions {
  std::uint64_t seed = 1;
  std::uint64_t count = 1000;
  bool random = false;
};

template <class Stream>
void write(Stream stream, std::uint64_t count) {
  constexpr std::size_t block = 4096;
  std::vector<_VelProfileReport> records(block);
  while (count != 0) {
    const std::size_t next = static_cast<std::size_t>(std::min<std::uint64_t>(count, block));
    stream.fill({records.data(), next});
    writeStandardOutput({reinterpret_cast<const char*>(records.data()), next * sizeof(_VelProfileReport)});
    count -= next;
  }
}

void run(const GenerateOptions& options) {
  if (isatty(STDOUT_FILENO) != 0) {
    throw Error("standard output: will not write binary records to a terminal");
  }
  if (options.random) {
    write(synthetic::RandomStream(options.seed), options.count);
  } else {
    write(synthetic::FlowStream(options.seed), options.count);
  }
}

// Rounds the number of records up to a multiple of a log's step.
FleetOptions wholeSteps(FleetOptions options) {
  options.records = (options.records + DeviceLog::step - 1) / DeviceLog::step * DeviceLog::step;
  return options;
}

void addSyntheticFleet(CLI::App& generate, int& status) {
  constexpr std::uint32_t mostDevices = 100'000;
  constexpr std::uint32_t mostBuilds = 64;
  constexpr std::uint32_t mostLots = 64;
  auto options = std::make_shared<FleetOptions>();
  CLI::App* const fleet = generate.add_subcommand(
      "fleet", "Captures of many devices of several builds and hardware lots, with known faults; a seed gives the same "
               "ones on every machine");
  const auto number = [&](const char* name, auto& value, const char* help, auto least, auto most) {
    fleet->add_option(name, value, help)
        ->type_name("N")
        ->transform(decimal<std::remove_reference_t<decltype(value)>>(least, most))
        ->capture_default_str();
  };
  number("--seed", options->seed, "Where the random numbers begin", std::uint64_t{0}, UINT64_MAX);
  number("--devices", options->devices, "How many devices, up to 100000", 1U, mostDevices);
  number("--builds", options->builds, "How many builds, up to 64; the devices are spread over them evenly", 1U,
         mostBuilds);
  number("--lots", options->lots, "How many hardware lots, up to 64, likewise", 1U, mostLots);
  number("--records", options->records, "Records of each device, from 512 to 2048; rounded up to a multiple of 256",
         DeviceLog::least, DeviceLog::most);
  fleet->add_option("--out", options->out, "A new folder for the captures, their list and the truth about them")
      ->type_name("DIR")
      ->required();
  fleet->footer("Example:\n  velstat generate fleet --seed 1 --devices 1000 --builds 4 --out fleet1");
  fleet->callback([options, &status] {
    writeFleet(wholeSteps(*options));
    status = 0;
  });
}

} // namespace

void addGenerate(CLI::App& app, int& status) {
  auto options = std::make_shared<GenerateOptions>();
  CLI::App* const command = app.add_subcommand("generate", "Make up data for tests, benchmarks and demonstrations");
  command->require_subcommand(1);
  command->footer("Example:\n  velstat generate records --seed 1 --count 1000 > records.bin");
  CLI::App* const records = command->add_subcommand(
      "records", "Profile records of 48 bytes each; a seed gives the same ones on every machine");
  records->add_option("--seed", options->seed, "Where the random numbers begin")
      ->type_name("N")
      ->transform(decimal<std::uint64_t>())
      ->capture_default_str();
  records->add_option("--count", options->count, "How many")
      ->type_name("N")
      ->transform(decimal<std::uint64_t>())
      ->capture_default_str();
  records->add_flag("--random", options->random, "Random payloads under random ids, instead of what a device does");
  records->footer("Example:\n  velstat generate records --count 1000000 | velstat decode --stats > out.txt");
  records->callback([options, &status] {
    run(*options);
    status = 0;
  });
  addSyntheticFleet(*command, status);
}

} // namespace vel::stat
