// A directory without a log is told before the schema is loaded, which takes seconds.
#include "data_options.h"

#include <cstdio>
#include <filesystem>

#include "option_checks.h"
#include "store/log/log_database.h"

namespace nexa_tool {

void add_data_option(CLI::App& command, std::string& directory) {
  command.add_option("--data", directory, "Data directory of the server")
      ->required()
      ->check(existing_folder())
      ->type_name("DIR");
}

void ConfigurationOptions::add_to(CLI::App& command) {
  add_data_option(command, directory);
  schema.add_to(command);
}

std::unique_ptr<nexa::ServiceKestrelNamespaceMapperImpl> ConfigurationOptions::load() const {
  const std::string file = nexa::store::log_file(directory);
  if (!std::filesystem::exists(file)) {
    std::fprintf(stderr, "nexa: %s: no such file; name the data directory of a server\n",
                 file.c_str());
    return nullptr;
  }
  return schema.load();
}

}  // namespace nexa_tool
