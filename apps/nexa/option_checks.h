// Checks of option values that say nothing in the help: the option's type name says it already.
#ifndef APPS_NEXA_OPTION_CHECKS_H_
#define APPS_NEXA_OPTION_CHECKS_H_

#include <CLI/CLI.hpp>

#include <charconv>
#include <cstdint>
#include <string>
#include <vector>

#include "feature_option.h"

namespace nexa_tool {

inline CLI::Validator one_of(const std::vector<std::string>& values) {
  CLI::Validator check = CLI::IsMember(values);
  return check.description("");
}

inline CLI::Validator existing_folder() {
  CLI::Validator check = CLI::ExistingDirectory;
  return check.description("");
}

// From `least` on; a sign, a fraction or no digit at all is none.
inline CLI::Validator whole_number(std::uint64_t least) {
  return CLI::Validator(
      [least](const std::string& text) {
        std::uint64_t value = 0;
        const char* const end = text.data() + text.size();
        const auto read = std::from_chars(text.data(), end, value);
        const bool fits = read.ec == std::errc() && read.ptr == end && value >= least;
        return fits ? std::string()
                    : "\"" + text + "\" is no whole number from " + std::to_string(least) + " on";
      },
      "");
}

inline CLI::Validator feature() {
  return CLI::Validator([](const std::string& text) { return feature_option::fault_of(text); }, "");
}

}  // namespace nexa_tool

#endif  // APPS_NEXA_OPTION_CHECKS_H_
