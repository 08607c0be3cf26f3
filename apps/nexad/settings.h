// The settings by name, each with its kind, its bounds and its help: one table for the command
// line, the environment, the file, the help and the manual.
#ifndef APPS_NEXAD_SETTINGS_H_
#define APPS_NEXAD_SETTINGS_H_

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "server_config.h"

namespace nexad {

struct Text {
  std::string ServerConfig::*member;
};
struct Switch {
  bool ServerConfig::*member;
};
struct Number {
  std::uint64_t ServerConfig::*member;
  std::uint64_t least;
  std::uint64_t most;
};
// May be given several times.
struct Texts {
  std::vector<std::string> ServerConfig::*member;
};
// As feature_option.h reads them, may be given several times.
struct Features {
  std::map<std::string, std::vector<std::string>> ServerConfig::*member;
};
// A program with its arguments: split at blanks, quotes "" and '' keep a word together.
struct Command {
  std::vector<std::string> ServerConfig::*member;
};

struct Setting {
  const char* group;       // the heading that it stands under, in the help and in the manual
  const char* name;        // the flag without dashes, the key of the file
  const char* value_name;  // how the help calls the value, or the values that there are: a|b
  const char* help;
  std::variant<Text, Switch, Number, Texts, Features, Command> kind;
  const char* other_flags = "";  // more names on the command line, separated by commas

  bool takes_many() const;
  bool is_switch() const { return std::holds_alternative<Switch>(kind); }
  // NEXAD_ and the name in capitals, dashes as underscores.
  std::string variable() const;
  // The value that holds when none is given; empty where there is none.
  std::string default_text() const;
  // Puts one value into `config`. A failure says what is wrong with it, not whose it is.
  nexa::text::Done apply(std::string_view value, ServerConfig& config) const;
};

const std::vector<Setting>& settings();

// The words of a command line; false when a quote is not closed.
bool split_words(std::string_view text, std::vector<std::string>& words);

}  // namespace nexad

#endif  // APPS_NEXAD_SETTINGS_H_
