// The options of the commands that work on a server's data directory, and of those that also need
// the schema that its server runs with.
#ifndef APPS_NEXA_DATA_OPTIONS_H_
#define APPS_NEXA_DATA_OPTIONS_H_

#include <memory>
#include <string>

#include "schema_options.h"

namespace nexa_tool {

// Adds --data to a command; `directory` must outlive the parsing.
void add_data_option(CLI::App& command, std::string& directory);

struct ConfigurationOptions {
  std::string directory;
  SchemaOptions schema;

  // Adds --data, --yang-dir, --module and --feature. This object must outlive the parsing.
  void add_to(CLI::App& command);

  // Loads the schema when the directory has a log, and the mapper over it. Null after a failure,
  // which is reported on standard error.
  std::unique_ptr<nexa::ServiceKestrelNamespaceMapperImpl> load() const;
};

}  // namespace nexa_tool

#endif  // APPS_NEXA_DATA_OPTIONS_H_
