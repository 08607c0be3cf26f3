// CLI11 splits the command line; which source of a value counts is decided here, once for all
// settings.
#include "invocation.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <sstream>

#include "config_file.h"
#include "help_text.h"
#include "manual_text.h"
#include "settings.h"

extern char** environ;

namespace nexad {

using nexa::text::Done;
using nexa::text::Result;
using nexa::text::unusable;

namespace {

constexpr char kAbout[] =
    "nexad serves the configuration of a device over gNMI, and keeps every committed byte. Each "
    "option can also be given as a variable, NEXAD_ and its name in capitals (lists separated by "
    "commas), or in the file that --config names; an option counts more than a variable, and that "
    "more than the file.";

struct Value {
  std::vector<std::string> values;
  std::string origin;
};

class Parser {
 public:
  Parser() : app_(kAbout, "nexad") {
    app_.formatter(std::make_shared<help_text::Formatter>());
    app_.option_defaults()->group("Flags of the command line alone");
    app_.set_help_flag("-h,--help", "Print this help message and exit");
    app_.set_version_flag("-V,--version", "nexad " NEXA_VERSION, "Print the version and exit");
    app_.add_option("--config", config_file_, "File of settings (TOML)")->type_name("FILE");
    app_.add_flag("--check-config", check_config_,
                  "Check settings, schema, certificates, users and data folder; serve nothing");
    app_.add_flag("--hash-password", hash_password_,
                  "Read a password from standard input and print its hash for the users file");
    hash_command_ = app_.add_subcommand("hash-password", "The same as --hash-password");
    hash_command_->set_help_flag("-h,--help", "Print this help message and exit");
    for (const Setting& setting : settings()) add(setting);
  }

  Done parse(const std::vector<std::string>& arguments, Invocation& invocation) {
    if (manual_text::is_asked_for(arguments)) {
      invocation.action = Action::kShow;
      invocation.text = manual_text::description_of(app_);
      return {};
    }
    try {
      app_.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    } catch (const CLI::ParseError& problem) {
      std::ostringstream out;
      std::ostringstream ignored;
      if (app_.exit(problem, out, ignored) != 0) {
        return unusable("", problem.what() + std::string("; nexad --help shows what there is"));
      }
      invocation.action = Action::kShow;
      invocation.text = out.str();
      return {};
    }
    if (hash_password_ || hash_command_->parsed()) {
      invocation.action = Action::kHashPassword;
    } else if (check_config_) {
      invocation.action = Action::kCheckConfig;
    }
    return {};
  }

  const std::string& config_file() const { return config_file_; }

  // Empty when the command line does not have it.
  Value value(const Setting& setting) const {
    const CLI::Option* option = options_.at(setting.name);
    return {option->results(), "--" + std::string(setting.name)};
  }

 private:
  void add(const Setting& setting) {
    std::string flag = "--" + std::string(setting.name);
    if (*setting.other_flags != '\0') flag.append(",").append(setting.other_flags);
    CLI::Option*& option = options_[setting.name];
    if (setting.is_switch()) {
      option = app_.add_flag(flag)->description(setting.help)->group(setting.group);
      return;
    }
    option = app_.add_option(flag)->description(setting.help)->group(setting.group);
    option->type_name(setting.value_name)->expected(1)->allow_extra_args(false)->take_all();
    if (std::string text = setting.default_text(); !text.empty()) option->default_str(text);
  }

  CLI::App app_;
  std::string config_file_;
  bool check_config_ = false;
  bool hash_password_ = false;
  CLI::App* hash_command_ = nullptr;
  std::map<std::string, CLI::Option*> options_;
};

std::vector<std::string> split_at_commas(const std::string& text) {
  std::vector<std::string> parts;
  std::istringstream in(text);
  for (std::string part; std::getline(in, part, ',');) parts.push_back(part);
  return parts;
}

Value variable_value(const Setting& setting, const Environment& environment) {
  const std::string variable = setting.variable();
  const auto found = environment.find(variable);
  if (found == environment.end() || found->second.empty()) return {};
  if (setting.takes_many()) return {split_at_commas(found->second), variable};
  return {{found->second}, variable};
}

Done apply(const Setting& setting, const Value& value, ServerConfig& config) {
  if (value.values.size() > 1 && !setting.takes_many()) {
    return unusable("", value.origin + " is given more than once");
  }
  for (const std::string& text : value.values) {
    Done done = setting.apply(text, config);
    if (!done.ok()) return failure_at(value.origin, std::move(done).failure());
  }
  config.origins[setting.name] = value.origin;
  return {};
}

}  // namespace

Result<Invocation> parse_invocation(const std::vector<std::string>& arguments,
                                    const Environment& environment) {
  Invocation invocation;
  Parser parser;
  if (Done done = parser.parse(arguments, invocation); !done.ok()) {
    return std::move(done).failure();
  }
  if (invocation.action == Action::kShow || invocation.action == Action::kHashPassword) {
    return invocation;
  }
  std::string file = parser.config_file();
  const auto variable = environment.find("NEXAD_CONFIG");
  if (file.empty() && variable != environment.end()) file = variable->second;
  Result<FileValues> file_values = file.empty() ? FileValues() : read_config_file(file);
  if (!file_values.ok()) return std::move(file_values).failure();
  for (const Setting& setting : settings()) {
    Value value = parser.value(setting);
    if (value.values.empty()) value = variable_value(setting, environment);
    if (value.values.empty()) {
      const auto found = file_values.value().find(setting.name);
      if (found == file_values.value().end()) continue;
      value = {found->second.values, found->second.origin};
    }
    Done done = apply(setting, value, invocation.config);
    if (!done.ok()) return std::move(done).failure();
  }
  if (Done done = check_settings(invocation.config); !done.ok()) {
    return std::move(done).failure();
  }
  return invocation;
}

Environment process_environment() {
  Environment environment;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string_view text(*entry);
    const auto equals = text.find('=');
    if (!text.starts_with("NEXAD_") || equals == std::string_view::npos) continue;
    environment.emplace(text.substr(0, equals), text.substr(equals + 1));
  }
  return environment;
}

}  // namespace nexad
