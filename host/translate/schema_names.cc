// Name look-up over the schema records. The maps point into strings of the schema library, which
// live for the process.
#include "translate/schema_names.h"

#include "gnmi/gnmi_base_namespace_mapper.h"
#include "gnmi/gnmi_rfc7951_schema_enums.h"
#include "text/display.h"

namespace nexa::host {
namespace {

bool contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

}  // namespace

bool is_leaf(const kestrel_cs_node* node) {
  return !is_leaf_list(node) && gnmi::rfc7951::is_leaf_type(node->shallow_type);
}

SchemaNames::SchemaNames() {
  KestrelNsEntry* list = nullptr;
  const int count = kestrel_get_nslist(&list);
  for (int index = 0; index < count; ++index) {
    const KestrelNsEntry* entry = &list[index];
    modules_.emplace(entry->module, entry);
    prefixes_.emplace(entry->prefix, entry);
    hashes_.emplace(entry->hash, entry);
    for (kestrel_cs_node* root = kestrel_find_cs_root(entry->hash); root != nullptr;
         root = root->next) {
      if ((root->flags & KESTREL_FLAG_META_DATA) == 0) roots_[local_name(root)].push_back(root);
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

kestrel_cs_node* SchemaNames::child(const kestrel_cs_node* parent, std::string_view name,
                                    std::uint32_t ns) const {
  if (parent == nullptr) {
    const auto found = roots_.find(name);
    if (found == roots_.end()) return nullptr;
    for (kestrel_cs_node* root : found->second) {
      if (root->ns == ns) return root;
    }
    return nullptr;
  }
  const std::string terminated(name);
  const std::uint32_t tag = kestrel_str2hash(terminated.c_str());
  return tag != 0 ? kestrel_find_cs_node_child(parent, tag, ns) : nullptr;
}

std::string SchemaNames::qualified(const kestrel_cs_node* node) const {
  const KestrelNsEntry* entry = by_hash(node->ns);
  return std::string(entry != nullptr ? entry->module : "") + ":" + local_name(node);
}

std::string SchemaNames::candidates(const std::vector<kestrel_cs_node*>& nodes) const {
  std::string text;
  for (const kestrel_cs_node* node : nodes) text += (text.empty() ? "" : ", ") + qualified(node);
  return text;
}

NamedNode SchemaNames::resolve_bare(const kestrel_cs_node* parent, std::string_view name,
                                    std::string_view modules) const {
  std::vector<kestrel_cs_node*> found;
  if (parent == nullptr) {
    const auto roots = roots_.find(name);
    if (roots != roots_.end()) found = roots->second;
    // Clients that leave the module out mean OpenConfig, whatever else has a node of that name.
    const bool prefer = modules.empty() && found.size() > 1;
    const std::string_view wanted =
        prefer ? std::string_view(gnmi::BaseNamespaceMapper::ORIGIN_OPENCONFIG_STR) : modules;
    std::vector<kestrel_cs_node*> matching;
    for (kestrel_cs_node* root : found) {
      if (contains(by_hash(root->ns)->module, wanted)) matching.push_back(root);
    }
    if (!prefer || !matching.empty()) found = std::move(matching);
  } else {
    for (kestrel_cs_node* node = parent->children; node != nullptr; node = node->next) {
      if (name == local_name(node)) found.push_back(node);
    }
  }
  if (found.size() == 1) return {found.front(), true, {}};
  const std::string below = parent != nullptr ? " below " + text::quoted(local_name(parent))
                                              : " at the top of the schema";
  if (found.empty()) return {nullptr, false, "no node " + text::quoted(name) + below};
  return {nullptr, false,
          "the name " + text::quoted(name) + " has more than one meaning" + below + ": " +
              candidates(found)};
}

NamedNode SchemaNames::resolve(const kestrel_cs_node* parent, std::string_view name,
                               NameRules rules, std::string_view modules) const {
  const std::size_t colon = name.find(':');
  if (colon != std::string_view::npos) {
    const std::string_view module = name.substr(0, colon);
    const std::string_view local = name.substr(colon + 1);
    const KestrelNsEntry* entry = by_module(module);
    if (entry == nullptr && rules == NameRules::kPath) entry = by_prefix(module);
    if (entry == nullptr) return {nullptr, false, "unknown module " + text::quoted(module)};
    kestrel_cs_node* node = child(parent, local, entry->hash);
    if (node != nullptr) return {node, false, {}};
    return {nullptr, false,
            "no node " + text::quoted(name) +
                (parent != nullptr ? " below " + text::quoted(local_name(parent))
                                   : " at the top of the schema")};
  }
  if (parent != nullptr) {
    kestrel_cs_node* node = child(parent, name, parent->ns);
    if (node != nullptr) return {node, false, {}};
  }
  if (rules != NameRules::kStrict) return resolve_bare(parent, name, modules);
  if (parent == nullptr) {
    return {nullptr, false,
            "the top-level name " + text::quoted(name) + " needs its module in front"};
  }
  return {nullptr, false,
          "no node " + text::quoted(name) + " of module " +
              text::quoted(by_hash(parent->ns)->module) + " below " +
              text::quoted(local_name(parent))};
}

}  // namespace nexa::host
