// Credentials are read only when they are needed, and never from the command line, which other users can see.
#include "velstat/fleet/server_options.h"

#include <CLI/CLI.hpp>

namespace vel::stat {

fleet::ServerAddress ServerOptions::address() const {
  fleet::ServerAddress address;
  address.url = url;
  address.database = database;
  address.credentials = fleet::readCredentials(credentials);
  address.authorities = authorities;
  return address;
}

void addServerOptions(CLI::App& command, ServerOptions& options) {
  command.add_option("--to", options.url, "The server's HTTP interface")->type_name("URL")->capture_default_str();
  command.add_option("--database", options.database, "Of the tables")->type_name("NAME")->capture_default_str();
  command
      .add_option("--credentials", options.credentials,
                  "A file of two lines, user and password, that only its owner may read; else VELSTAT_FLEET_USER and "
                  "VELSTAT_FLEET_PASSWORD")
      ->type_name("FILE");
  command.add_option("--ca", options.authorities, "Certificates that https trusts instead of the system's")
      ->type_name("FILE");
}

} // namespace vel::stat
