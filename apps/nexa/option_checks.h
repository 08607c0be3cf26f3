// Checks of option values that say nothing in the help: the option's type name says it already.
#ifndef APPS_NEXA_OPTION_CHECKS_H_
#define APPS_NEXA_OPTION_CHECKS_H_

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace nexa_tool {

inline CLI::Validator one_of(const std::vector<std::string>& values) {
  CLI::Validator check = CLI::IsMember(values);
  return check.description("");
}

inline CLI::Validator existing_folder() {
  CLI::Validator check = CLI::ExistingDirectory;
  return check.description("");
}

}  // namespace nexa_tool

#endif  // APPS_NEXA_OPTION_CHECKS_H_
