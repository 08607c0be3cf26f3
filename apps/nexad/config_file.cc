// Keys are the settings' names, flat. The kinds of TOML values are held against the settings', so
// that a quoted number or an unquoted word is an error on its line and not a surprise.
#include "config_file.h"

#include <toml++/toml.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <optional>
#include <system_error>

#include "settings.h"

namespace nexad {

using nexa::text::Result;
using nexa::text::unusable;

namespace {

const Setting* find_setting(std::string_view name) {
  for (const Setting& setting : settings()) {
    if (name == setting.name) return &setting;
  }
  return nullptr;
}

const char* kind_text(const Setting& setting) {
  if (setting.is_switch()) return "true or false";
  if (std::holds_alternative<Number>(setting.kind)) return "a whole number";
  if (setting.takes_many()) return "a list of strings";
  return "a string";
}

// The one value, as the command line would have it; nullopt when it is of another kind.
std::optional<std::string> scalar(const Setting& setting, const toml::node& node) {
  if (setting.is_switch()) {
    const auto* value = node.as_boolean();
    if (value == nullptr) return std::nullopt;
    return value->get() ? "true" : "false";
  }
  if (std::holds_alternative<Number>(setting.kind)) {
    const auto* value = node.as_integer();
    if (value == nullptr) return std::nullopt;
    return std::to_string(value->get());
  }
  const auto* value = node.as_string();
  if (value == nullptr) return std::nullopt;
  return value->get();
}

bool read_values(const Setting& setting, const toml::node& node, std::vector<std::string>& values) {
  const toml::array* list = setting.takes_many() ? node.as_array() : nullptr;
  if (list == nullptr) {
    const auto value = scalar(setting, node);
    if (value) values.push_back(*value);
    return value.has_value();
  }
  for (const toml::node& item : *list) {
    const auto value = scalar(setting, item);
    if (!value) return false;
    values.push_back(*value);
  }
  return true;
}

std::string place(const std::string& path, const toml::source_region& region) {
  return path + ":" + std::to_string(region.begin.line);
}

Result<FileValues> read_table(const std::string& path, const toml::table& table) {
  FileValues values;
  for (const auto& [key, node] : table) {
    const std::string name(key.str());
    const Setting* setting = find_setting(name);
    if (setting == nullptr) {
      return unusable(place(path, key.source()), "there is no setting \"" + name + "\"");
    }
    FileValue& value = values[name];
    value.origin = place(path, node.source()) + ": " + name;
    if (!read_values(*setting, node, value.values)) {
      return unusable(value.origin, std::string("the value has to be ") + kind_text(*setting));
    }
  }
  return values;
}

}  // namespace

Result<FileValues> read_config_file(const std::string& path) {
  std::error_code fault;
  if (!std::filesystem::is_regular_file(path, fault)) {
    return unusable(path, "cannot be read: " + (fault ? fault.message() : "it is not a file"));
  }
  std::ifstream file(path);
  if (!file) {
    return unusable(path, "cannot be read: " + std::generic_category().message(errno));
  }
  try {
    return read_table(path, toml::parse(file, path));
  } catch (const toml::parse_error& problem) {
    return unusable(place(path, problem.source()), std::string(problem.description()));
  }
}

}  // namespace nexad
