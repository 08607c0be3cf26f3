// The options of every command that needs YANG modules, and the schema they load.
#ifndef APPS_NEXA_SCHEMA_OPTIONS_H_
#define APPS_NEXA_SCHEMA_OPTIONS_H_

#include <CLI/CLI.hpp>

#include <memory>
#include <string>
#include <vector>

#include "nexa/nexa_srv_kestrel_namespace_mapper_impl.h"

namespace nexa_tool {

struct SchemaOptions {
  std::vector<std::string> search_dirs;
  std::vector<std::string> modules;
  std::vector<std::string> features;  // as feature_option.h reads them

  // Adds --yang-dir (-p, --searchpath), --module and --feature to a command. This object must
  // outlive the parsing.
  void add_to(CLI::App& command, bool required = true);

  // Loads the schema of the process, with progress on a terminal, and the mapper over it. Null
  // after a failure, which is reported on standard error.
  std::unique_ptr<nexa::ServiceKestrelNamespaceMapperImpl> load() const;
};

}  // namespace nexa_tool

#endif  // APPS_NEXA_SCHEMA_OPTIONS_H_
