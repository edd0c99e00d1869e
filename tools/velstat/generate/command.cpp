// velstat generate: the command line; writes synthetic records to standard output.

#include <synthetic/record_stream.h>
#include <velstat/commands.h>
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
}

} // namespace vel::stat
