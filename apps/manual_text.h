// What a program can be told, for programs to read: `PROGRAM --manual` prints it as JSON. The
// manual pages, the tables of the documents and the completions of the shells are made of it, so
// that they say what --help says. The word is not in the help, for no person needs it.
#ifndef APPS_MANUAL_TEXT_H_
#define APPS_MANUAL_TEXT_H_

#include <CLI/CLI.hpp>

#include <string>
#include <string_view>
#include <vector>

#include "text/escape.h"

namespace manual_text {

// A JSON object, member by member.
class Object {
 public:
  Object& text(std::string_view name, std::string_view value) {
    begin(name);
    nexa::text::append_json_string(value, json_);
    return *this;
  }
  Object& truth(std::string_view name, bool value) {
    begin(name);
    json_.append(value ? "true" : "false");
    return *this;
  }
  // The elements are JSON.
  Object& list(std::string_view name, const std::vector<std::string>& elements) {
    begin(name);
    json_.push_back('[');
    for (const std::string& element : elements) json_.append(element).push_back(',');
    if (!elements.empty()) json_.pop_back();
    json_.push_back(']');
    return *this;
  }
  std::string json() const { return json_ + "}"; }

 private:
  void begin(std::string_view name) {
    if (json_.size() > 1) json_.push_back(',');
    nexa::text::append_json_string(name, json_);
    json_.push_back(':');
  }

  std::string json_ = "{";
};

inline std::string description_of(const CLI::Option& option) {
  std::vector<std::string> names;
  const auto add = [&](std::string_view dashes, const std::vector<std::string>& bare) {
    for (const std::string& name : bare) {
      names.emplace_back();
      nexa::text::append_json_string(std::string(dashes) + name, names.back());
    }
  };
  add("-", option.get_snames());
  add("--", option.get_lnames());
  if (option.get_positional()) add("", {option.get_name(true)});
  return Object()
      .list("names", names)
      .text("value", option.get_items_expected_max() > 0 ? option.get_type_name() : "")
      .text("default", option.get_default_str())
      .text("help", option.get_description())
      .text("group", option.get_group())
      .truth("positional", option.get_positional())
      .truth("required", option.get_required())
      .truth("many", option.get_multi_option_policy() == CLI::MultiOptionPolicy::TakeAll)
      .json();
}

// Commands first, then options in the order of the help.
inline std::string description_of(const CLI::App& app) {
  std::vector<std::string> options;
  for (const CLI::Option* option : app.get_options()) options.push_back(description_of(*option));
  std::vector<std::string> commands;
  for (const CLI::App* command : app.get_subcommands(nullptr)) {
    commands.push_back(description_of(*command));
  }
  const bool has_version = app.get_version_ptr() != nullptr;
  return Object()
             .text("name", app.get_name())
             .text("about", app.get_description())
             .text("footer", app.get_footer())
             .text("version", has_version ? app.version() : "")
             .list("commands", commands)
             .list("options", options)
             .json() +
         "\n";
}

inline bool is_asked_for(const std::vector<std::string>& arguments) {
  return arguments.size() == 1 && arguments.front() == "--manual";
}

}  // namespace manual_text

#endif  // APPS_MANUAL_TEXT_H_
