// Names are compared with libyang's nodes one by one: no text of a client's becomes an expression.
#include "store/reading/selection_steps.h"

#include <libyang/plugins_types.h>

#include <utility>

#include "gnmi/gnmi_base_namespace_mapper.h"
#include "kestrel/kestrel.h"

namespace nexa::host {
namespace {

inline constexpr char kNameForm[] = "a name is \"name\" or \"module:name\"";
inline constexpr char kKeyForm[] = "malformed key name";
inline constexpr char kDeepHasNoKeys[] = "\"...\" takes no keys";

constexpr std::string_view kAnyName = "*";
constexpr std::string_view kDeepName = "...";

grpc::Status malformed(int position, std::string_view what) {
  return {grpc::StatusCode::INVALID_ARGUMENT,
          "path element " + std::to_string(position) + ": " + std::string(what)};
}

bool split_name(std::string_view text, SelectionName& out) {
  const std::size_t colon = text.find(':');
  if (colon == std::string_view::npos) {
    out = {{}, text};
    return !text.empty();
  }
  out = {text.substr(0, colon), text.substr(colon + 1)};
  return !out.module.empty() && !out.name.empty();
}

grpc::Status split_keys(const gnmi::PathElem& element, int position, SelectionStep& step) {
  if (element.key().empty()) return grpc::Status::OK;
  if (step.kind == SelectionStep::Kind::kDeep) return malformed(position, kDeepHasNoKeys);
  for (const auto& [name, value] : element.key()) {
    SelectionKey key;
    if (!split_name(name, key.name)) return malformed(position, kKeyForm);
    key.written = &name;
    key.value = value == kAnyName ? nullptr : &value;
    step.keys.push_back(key);
  }
  return grpc::Status::OK;
}

const lys_module* module_named(std::string_view name) {
  if (name.find('\0') != std::string_view::npos || kestrel::context() == nullptr) return nullptr;
  return ly_ctx_get_module_implemented(kestrel::context(), std::string(name).c_str());
}

constexpr std::uint16_t kDataNodes =
    LYS_CONTAINER | LYS_LEAF | LYS_LEAFLIST | LYS_LIST | LYS_ANYXML | LYS_ANYDATA;

// Calls `take` for each data node below `parent`, or at the top of `module`.
template <typename Take>
void each_child(const lysc_node* parent, const lysc_module* module, Take&& take) {
  const lysc_node* child = nullptr;
  while ((child = lys_getnext(child, parent, module, 0)) != nullptr) {
    if ((child->nodetype & kDataNodes) != 0) take(child);
  }
}

// libyang has modules of its own inside; only what the schema shows counts.
bool is_shown(const lys_module& module) {
  return kestrel_find_cs_root(kestrel_str2hash(module.ns)) != nullptr;
}

// Calls `take` for each data node at the top of each module, shown or not.
template <typename Take>
void each_top_node(Take&& take) {
  std::uint32_t i = 0;
  if (kestrel::context() == nullptr) return;
  while (const lys_module* module = ly_ctx_get_module_iter(kestrel::context(), &i)) {
    if (module->implemented != 0 && module->compiled != nullptr) {
      each_child(nullptr, module->compiled, take);
    }
  }
}

template <typename Take>
void each_child(const lysc_node* parent, Take&& take) {
  if (parent == nullptr) return each_top_node(take);
  if ((parent->nodetype & (LYS_CONTAINER | LYS_LIST)) != 0) each_child(parent, nullptr, take);
}

// Clients that leave the module out mean OpenConfig, whatever else has a node of that name: an
// origin that is not given is "openconfig" (gNMI specification, section 2.7).
std::vector<const lysc_node*> preferred_at_top(std::vector<const lysc_node*> targets) {
  const std::string& wanted = gnmi::BaseNamespaceMapper::ORIGIN_OPENCONFIG_STR;
  std::vector<const lysc_node*> preferred;
  for (const lysc_node* target : targets) {
    const std::string_view module = target->module->name;
    if (module.find(wanted) != std::string_view::npos) preferred.push_back(target);
  }
  return preferred.empty() ? targets : preferred;
}

}  // namespace

grpc::Status split_path(const gnmi::Path& path, std::vector<SelectionStep>& steps) {
  for (int i = 0; i < path.elem_size(); ++i) {
    const gnmi::PathElem& element = path.elem(i);
    SelectionStep step;
    step.element = &element;
    if (element.name() == kDeepName) {
      step.kind = SelectionStep::Kind::kDeep;
    } else if (!split_name(element.name(), step.name)) {
      return malformed(i + 1, kNameForm);
    } else if (step.name.name == kAnyName) {
      step.kind = SelectionStep::Kind::kAny;
    }
    grpc::Status keys = split_keys(element, i + 1, step);
    if (!keys.ok()) return keys;
    const bool adds_nothing = step.kind == SelectionStep::Kind::kDeep && !steps.empty() &&
                              steps.back().kind == SelectionStep::Kind::kDeep;
    if (!adds_nothing) steps.push_back(std::move(step));
  }
  if (!steps.empty() && steps.back().kind == SelectionStep::Kind::kDeep) steps.pop_back();
  return grpc::Status::OK;
}

bool names_modules(const std::vector<SelectionStep>& steps) {
  for (const SelectionStep& step : steps) {
    if (!step.name.module.empty()) return true;
  }
  return false;
}

std::vector<const lysc_node*> schema_children(const lysc_node* parent) {
  std::vector<const lysc_node*> children;
  each_child(parent, [&](const lysc_node* child) {
    if (parent != nullptr || is_shown(*child->module)) children.push_back(child);
  });
  return children;
}

std::vector<const lysc_node*> step_targets(const SelectionStep& step, const lysc_node* parent) {
  std::vector<const lysc_node*> targets;
  const bool any = step.kind == SelectionStep::Kind::kAny;
  const lys_module* module = nullptr;
  if (!step.name.module.empty()) {
    module = module_named(step.name.module);
    if (module == nullptr || module->compiled == nullptr) return targets;
  }
  const auto take = [&](const lysc_node* child) {
    if (module != nullptr && child->module != module) return;
    if (!any && step.name.name != child->name) return;
    if (parent != nullptr || is_shown(*child->module)) targets.push_back(child);
  };
  if (parent == nullptr && module != nullptr) {
    each_child(nullptr, module->compiled, take);
  } else {
    each_child(parent, take);
  }
  if (any || targets.size() < 2) return targets;
  if (parent == nullptr) return preferred_at_top(std::move(targets));
  for (const lysc_node* target : targets) {
    if (target->module == parent->module) return {target};
  }
  return targets;
}

const lysc_node* key_leaf(const SelectionKey& key, const lysc_node* list) {
  for (const lysc_node* leaf = lysc_node_child(list); leaf != nullptr && lysc_is_key(leaf);
       leaf = leaf->next) {
    if (key.name.name != leaf->name) continue;
    if (key.name.module.empty() || key.name.module == leaf->module->name) return leaf;
  }
  return nullptr;
}

namespace {

// Whether the type takes the text as it is, or not at all.
bool is_verbatim(const lysc_node* leaf) {
  const lysc_type* const type = leaf->nodetype == LYS_LEAF
                                    ? reinterpret_cast<const lysc_node_leaf*>(leaf)->type
                                    : reinterpret_cast<const lysc_node_leaflist*>(leaf)->type;
  return type->plugin->store == lyplg_type_store_string ||
         type->plugin->store == lyplg_type_store_enum;
}

LY_ERR validate(const lysc_node* leaf, const std::string& text, const char** canonical) {
  const ly_ctx* const context = canonical != nullptr ? leaf->module->ctx : nullptr;
  std::uint32_t no_messages = 0;
  ly_temp_log_options(&no_messages);
  const LY_ERR verdict =
      lyd_value_validate(context, leaf, text.c_str(), text.size(), nullptr, nullptr, canonical);
  ly_temp_log_options(nullptr);
  return verdict;
}

// libyang's setters read to the first NUL; no YANG string has one.
bool has_nul(const std::string& text) { return text.find('\0') != std::string::npos; }

}  // namespace

const std::vector<const lysc_node*>& StepTargets::below(const lysc_node* parent, std::size_t step) {
  const auto [entry, is_new] = known_.try_emplace({step, parent});
  if (is_new) entry->second = step_targets(steps_[step], parent);
  return entry->second;
}

bool takes_value(const lysc_node* leaf, const std::string& text) {
  if (has_nul(text)) return false;
  const LY_ERR verdict = validate(leaf, text, nullptr);
  return verdict == LY_SUCCESS || verdict == LY_EINCOMPLETE;
}

std::optional<std::string> canonical_value(const lysc_node* leaf, const std::string& text) {
  if (has_nul(text)) return std::nullopt;
  if (is_verbatim(leaf)) return text;
  const char* canonical = nullptr;
  const LY_ERR verdict = validate(leaf, text, &canonical);
  std::optional<std::string> value;
  if (canonical == nullptr) return value;
  if (verdict == LY_SUCCESS || verdict == LY_EINCOMPLETE) value = canonical;
  lydict_remove(leaf->module->ctx, canonical);
  return value;
}

}  // namespace nexa::host
