// The options of all subcommands that talk to a server.
#pragma once

#include <fleet/http.h>

#include <filesystem>
#include <memory>
#include <string>

namespace CLI {
class App;
}

namespace vel::stat {

struct ServerOptions {
  std::string url = fleet::ServerAddress().url;
  std::string database = fleet::ServerAddress().database;
  std::filesystem::path credentials;
  std::filesystem::path authorities;

  // Reads the credentials. Throws fleet::Error.
  fleet::ServerAddress address() const;
};

// --to, --database, --credentials, --ca. `options` must outlive the parse.
void addServerOptions(CLI::App& command, ServerOptions& options);

} // namespace vel::stat
