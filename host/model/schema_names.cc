// Name look-up over the schema's records. The maps point into strings of the schema library, which
// live for the process.
#include "model/schema_names.h"

#include "gnmi/gnmi_base_namespace_mapper.h"
#include "gnmi/gnmi_rfc7951_schema_enums.h"
#include "text/display.h"

namespace nexa::model {
namespace {

using text::quoted;

constexpr char kUnknownModule[] = "unknown module ";
constexpr char kNoNodeNamed[] = "no node ";
constexpr char kNeedsModule[] = " needs its module in front";

// Names in a message; longer ones are cut.
constexpr std::size_t kMostWrittenShown = 100;

}  // namespace

bool is_openconfig(std::string_view module) {
  return module.find(gnmi::BaseNamespaceMapper::ORIGIN_OPENCONFIG_STR) != std::string_view::npos;
}

bool is_leaf(const kestrel_cs_node* node) {
  return !is_leaf_list(node) && gnmi::rfc7951::is_leaf_type(node->shallow_type);
}

WrittenName split_name(std::string_view text) {
  const std::size_t colon = text.find(':');
  if (colon == std::string_view::npos) return {{}, text};
  return {text.substr(0, colon), text.substr(colon + 1)};
}

SchemaNames::SchemaNames() {
  KestrelNsEntry* list = nullptr;
  const int count = kestrel_get_nslist(&list);
  for (int index = 0; index < count; ++index) {
    const KestrelNsEntry* entry = &list[index];
    modules_.emplace(entry->module, entry);
    prefixes_.emplace(entry->prefix, entry);
    hashes_.emplace(entry->hash, entry);
    for (kestrel_cs_node* top = kestrel_find_cs_root(entry->hash); top != nullptr;
         top = top->next) {
      if ((top->flags & KESTREL_FLAG_META_DATA) != 0) continue;
      tops_.push_back(top);
      tops_by_name_[local_name(top)].push_back(top);
    }
  }
}

const KestrelNsEntry* SchemaNames::by_module(std::string_view module) const {
  const auto found = modules_.find(module);
  return found != modules_.end() ? found->second : nullptr;
}

const KestrelNsEntry* SchemaNames::by_prefix(std::string_view prefix) const {
  const auto found = prefixes_.find(prefix);
  return found != prefixes_.end() ? found->second : nullptr;
}

const KestrelNsEntry* SchemaNames::by_hash(std::uint32_t hash) const {
  const auto found = hashes_.find(hash);
  return found != hashes_.end() ? found->second : nullptr;
}

const KestrelNsEntry* SchemaNames::module_of(std::string_view written, NameRules rules) const {
  const KestrelNsEntry* const entry = by_module(written);
  return entry == nullptr && rules == NameRules::kPath ? by_prefix(written) : entry;
}

kestrel_cs_node* SchemaNames::child(const kestrel_cs_node* parent, std::string_view name,
                                    std::uint32_t ns) const {
  if (parent == nullptr) {
    const auto found = tops_by_name_.find(name);
    if (found == tops_by_name_.end()) return nullptr;
    for (kestrel_cs_node* top : found->second) {
      if (top->ns == ns) return top;
    }
    return nullptr;
  }
  if (name.find('\0') != std::string_view::npos) return nullptr;
  const std::string terminated(name);
  const std::uint32_t tag = kestrel_str2hash(terminated.c_str());
  return tag != 0 ? kestrel_find_cs_node_child(parent, tag, ns) : nullptr;
}

bool SchemaNames::in_scope(const kestrel_cs_node* top, const Scope& scope) const {
  switch (scope.kind) {
    case Scope::Kind::kAll:
      return true;
    case Scope::Kind::kOpenConfig: {
      const KestrelNsEntry* const entry = by_hash(top->ns);
      return entry != nullptr && is_openconfig(entry->module);
    }
    case Scope::Kind::kModule:
      return top->ns == scope.ns;
  }
  return false;
}

std::string SchemaNames::qualified(const kestrel_cs_node* node) const {
  const KestrelNsEntry* entry = by_hash(node->ns);
  return std::string(entry != nullptr ? entry->module : "") + ":" + local_name(node);
}

// The node that a name means whatever else there is: by its module, or in its parent's.
kestrel_cs_node* SchemaNames::direct(const kestrel_cs_node* parent, const WrittenName& name,
                                     NameRules rules, const Scope& scope) const {
  if (!name.module.empty()) {
    const KestrelNsEntry* const entry = module_of(name.module, rules);
    return entry != nullptr ? child(parent, name.name, entry->hash) : nullptr;
  }
  if (parent != nullptr) return child(parent, name.name, parent->ns);
  if (scope.kind == Scope::Kind::kModule) return child(nullptr, name.name, scope.ns);
  return nullptr;
}

// Clients that leave the module out mean OpenConfig, whatever else has a node of that name: an
// origin that is not given is "openconfig" (gNMI specification, section 2.7).
std::vector<kestrel_cs_node*> SchemaNames::bare_at_top(std::string_view name,
                                                       const Scope& scope) const {
  const auto tops = tops_by_name_.find(name);
  if (tops == tops_by_name_.end()) return {};
  std::vector<kestrel_cs_node*> of_openconfig;
  std::vector<kestrel_cs_node*> others;
  for (kestrel_cs_node* top : tops->second) {
    if (!in_scope(top, scope)) continue;
    const KestrelNsEntry* const entry = by_hash(top->ns);
    const bool preferred = entry != nullptr && is_openconfig(entry->module);
    (preferred ? of_openconfig : others).push_back(top);
  }
  return of_openconfig.empty() ? others : of_openconfig;
}

std::vector<kestrel_cs_node*> SchemaNames::meanings(const kestrel_cs_node* parent,
                                                    std::string_view name, NameRules rules,
                                                    const Scope& scope) const {
  const WrittenName written = split_name(name);
  kestrel_cs_node* const node = direct(parent, written, rules, scope);
  if (node != nullptr) return {node};
  if (!written.module.empty() || rules == NameRules::kStrict) return {};
  if (parent == nullptr) return bare_at_top(written.name, scope);
  std::vector<kestrel_cs_node*> found;
  for (kestrel_cs_node* each = parent->children; each != nullptr; each = each->next) {
    if (written.name == local_name(each)) found.push_back(each);
  }
  return found;
}

std::string SchemaNames::refusal(const kestrel_cs_node* parent, std::string_view name,
                                 NameRules rules, const std::vector<kestrel_cs_node*>& found,
                                 const std::string& where) const {
  const WrittenName written = split_name(name);
  const std::string shown = quoted(name, kMostWrittenShown);
  if (found.size() > 1) {
    std::string text = "the name " + shown + " has more than one meaning " + where + ":";
    for (const kestrel_cs_node* node : found) {
      text.append(node == found.front() ? " " : ", ").append(qualified(node));
    }
    return text;
  }
  if (!written.module.empty()) {
    if (module_of(written.module, rules) != nullptr) return kNoNodeNamed + shown + " " + where;
    return kUnknownModule + quoted(written.module, kMostWrittenShown);
  }
  if (rules != NameRules::kStrict) return kNoNodeNamed + shown + " " + where;
  if (parent == nullptr) return "the top-level name " + shown + kNeedsModule;
  const KestrelNsEntry* const entry = by_hash(parent->ns);
  return kNoNodeNamed + shown + " of module " + quoted(entry != nullptr ? entry->module : "") +
         " " + where;
}

NamedNode SchemaNames::resolve(const kestrel_cs_node* parent, std::string_view name,
                               NameRules rules) const {
  kestrel_cs_node* const node = direct(parent, split_name(name), rules, Scope());
  if (node != nullptr) return {node, false, {}};
  const std::vector<kestrel_cs_node*> found = meanings(parent, name, rules, Scope());
  if (found.size() == 1) return {found.front(), true, {}};
  const std::string where =
      parent == nullptr ? "at the top of the schema" : "below " + quoted(local_name(parent));
  return {nullptr, false, refusal(parent, name, rules, found, where)};
}

}  // namespace nexa::model
