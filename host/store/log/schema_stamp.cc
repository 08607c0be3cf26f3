// Modules by name, so that the order of loading does not count.
#include "store/log/schema_stamp.h"

#include <algorithm>
#include <map>
#include <set>

#include "store/tree.h"

namespace nexa::store {
namespace {

constexpr std::size_t kNamedModules = 5;

std::string features_of(const lys_module* module) {
  std::set<std::string> enabled;
  if (module->parsed != nullptr) {
    std::uint32_t index = 0;
    const lysp_feature* feature = nullptr;
    while ((feature = lysp_feature_next(feature, module->parsed, &index)) != nullptr) {
      if ((feature->flags & LYS_FENABLED) != 0) enabled.insert(feature->name);
    }
  }
  std::string text;
  for (const std::string& name : enabled) text.append(" ").append(name);
  return text;
}

// Name to "revision feature ...".
std::map<std::string, std::string> modules_of(std::string_view stamp) {
  std::map<std::string, std::string> modules;
  while (!stamp.empty()) {
    const std::string_view line = stamp.substr(0, stamp.find('\n'));
    stamp.remove_prefix(std::min(line.size() + 1, stamp.size()));
    const std::size_t at = line.find('@');
    if (at != std::string_view::npos) {
      modules.emplace(line.substr(0, at), std::string(line.substr(at + 1)));
    }
  }
  return modules;
}

std::string revision_of(const std::string& rest) {
  const std::string revision = rest.substr(0, rest.find(' '));
  return revision.empty() ? "without revision" : revision;
}

}  // namespace

std::string schema_stamp() {
  std::map<std::string, std::string> modules;
  std::uint32_t index = 0;
  while (const lys_module* const module = ly_ctx_get_module_iter(kestrel::context(), &index)) {
    if (!module->implemented) continue;
    modules[module->name] =
        std::string(module->revision != nullptr ? module->revision : "") + features_of(module);
  }
  std::string stamp;
  for (const auto& [name, rest] : modules) stamp.append(name).append("@").append(rest).append("\n");
  return stamp;
}

std::string stamp_difference(std::string_view before, std::string_view after) {
  const std::map<std::string, std::string> old_modules = modules_of(before);
  const std::map<std::string, std::string> new_modules = modules_of(after);
  std::size_t count = 0;
  std::string text;
  const auto add = [&](const std::string& words) {
    if (++count <= kNamedModules) text.append(text.empty() ? "" : ", ").append(words);
  };
  for (const auto& [name, rest] : old_modules) {
    const auto now = new_modules.find(name);
    if (now == new_modules.end()) {
      add(name + " " + revision_of(rest) + " is gone");
    } else if (revision_of(rest) != revision_of(now->second)) {
      add(name + " " + revision_of(rest) + " became " + revision_of(now->second));
    } else if (rest != now->second) {
      add(name + " has other features");
    }
  }
  for (const auto& [name, rest] : new_modules) {
    if (old_modules.count(name) == 0) add(name + " " + revision_of(rest) + " is new");
  }
  if (count > kNamedModules)
    text.append(", and ").append(std::to_string(count - kNamedModules)).append(" more");
  return text;
}

}  // namespace nexa::store
