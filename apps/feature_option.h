// What --feature says, alike in both programs: "MODULE:FEATURE" enables the feature and, of the
// module's, only those named so; "MODULE:" names none, so that alone it disables them all.
#ifndef APPS_FEATURE_OPTION_H_
#define APPS_FEATURE_OPTION_H_

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace feature_option {

inline constexpr char kForm[] = "MODULE:FEATURE";
inline constexpr char kHelp[] =
    "Enable this feature of the module, and of its features only those named so; MODULE: alone "
    "enables none. Modules that are not named have all of theirs";

// By module; a module with no names has no features.
using Features = std::map<std::string, std::vector<std::string>>;

// What is wrong with the text; empty when it can be added.
inline std::string fault_of(std::string_view text) {
  const std::size_t colon = text.find(':');
  if (colon != std::string_view::npos && colon > 0) return {};
  return "\"" + std::string(text) + "\" is not MODULE:FEATURE or MODULE:";
}

// `text` has no fault.
inline void add(std::string_view text, Features& features) {
  const std::size_t colon = text.find(':');
  std::vector<std::string>& names = features[std::string(text.substr(0, colon))];
  if (colon + 1 < text.size()) names.emplace_back(text.substr(colon + 1));
}

// The texts that say the same again.
inline std::vector<std::string> texts_of(const Features& features) {
  std::vector<std::string> texts;
  for (const auto& [module, names] : features) {
    if (names.empty()) texts.push_back(module + ":");
    for (const std::string& name : names) {
      texts.push_back(module);
      texts.back().append(":").append(name);
    }
  }
  return texts;
}

}  // namespace feature_option

#endif  // APPS_FEATURE_OPTION_H_
