// velstat fleet schema: prints the tables' DDL, or runs it.

#include <fleet/schema.h>
#include <velstat/fleet/server_options.h>
#include <velstat/fleet/subcommands.h>
#include <velstat/options/output_options.h>
#include <velstat/text/output.h>

#include <CLI/CLI.hpp>

#include <future>
#include <memory>
#include <string>
#include <vector>

namespace vel::stat {

namespace {

struct SchemaLine {
  ServerOptions server;
  std::vector<std::string> servers;
  fleet::SchemaOptions schema;
};

void run(SchemaLine& line) {
  line.schema.database = line.server.database;
  if (line.servers.empty()) {
    writeStandardOutput(fleet::schemaText(line.schema));
    return;
  }
  const std::vector<fleet::SchemaStatement> statements = fleet::schemaStatements(line.schema);
  std::vector<std::future<void>> nodes; // at the same time, as each node creates more than a hundred tables
  for (const std::string& server : line.servers) {
    line.server.url = server;
    fleet::ServerAddress address = line.server.address();
    address.database = "default"; // the tables' own database may not exist yet
    nodes.push_back(std::async(std::launch::async, [&statements, address = std::move(address)] {
      fleet::Http http(address);
      for (const fleet::SchemaStatement& statement : statements) {
        http.ask(statement.sql);
      }
    }));
  }
  for (std::future<void>& node : nodes) {
    node.get();
  }
}

} // namespace

void addFleetSchema(CLI::App& fleet, int& status) {
  auto line = std::make_shared<SchemaLine>();
  CLI::App* const command = fleet.add_subcommand("schema", "The tables, as SQL, for every node of the cluster");
  command->add_option("--cluster", line->schema.cluster, "Adds tables over all nodes of this cluster")
      ->type_name("NAME");
  command->add_flag("--replicated", line->schema.replicated,
                    "Tables with replicas, through ZooKeeper; nodes have the macros {shard} and {replica}");
  addServerOptions(*command, line->server);
  CLI::Option* const to = command->get_option("--to");
  command->remove_option(to);
  command->add_option("--to", line->servers, "Runs it on this server instead of printing it; may be repeated")
      ->type_name("URL");
  command->footer("Examples:\n"
                  "  velstat fleet schema | clickhouse-client -mn\n"
                  "  velstat fleet schema --cluster fleet --replicated --to http://127.0.0.1:8123");
  command->callback([line, &status] {
    run(*line);
    status = 0;
  });
}

} // namespace vel::stat
