// Two judges are asked: the value checker spells a value for XML and resolves identities, libyang
// gives its canonical text. Neither sees a text that no YANG string can hold.
#include "model/key_values.h"

#include <libyang/libyang.h>
#include <libyang/plugins_types.h>

#include <optional>
#include <string_view>

#include "text/utf8.h"

namespace nexa::model {
namespace {

const lysc_type* type_of(const lysc_node* leaf) {
  return leaf->nodetype == LYS_LEAF ? reinterpret_cast<const lysc_node_leaf*>(leaf)->type
                                    : reinterpret_cast<const lysc_node_leaflist*>(leaf)->type;
}

// The canonical text of a value that the leaf's type takes. Logs nothing.
std::string canonical_text(const lysc_node* leaf, const std::string& text) {
  const lyplg_type& plugin = *type_of(leaf)->plugin;
  if (plugin.store == lyplg_type_store_string || plugin.store == lyplg_type_store_enum) return text;
  const char* canonical = nullptr;
  std::uint32_t no_messages = 0;
  ly_temp_log_options(&no_messages);
  const LY_ERR verdict = lyd_value_validate(leaf->module->ctx, leaf, text.c_str(), text.size(),
                                            nullptr, nullptr, &canonical);
  ly_temp_log_options(nullptr);
  if (canonical == nullptr) return text;
  std::string value = verdict == LY_SUCCESS || verdict == LY_EINCOMPLETE ? canonical : text;
  lydict_remove(leaf->module->ctx, canonical);
  return value;
}

// The namespace that a name in a compiled leafref's path belongs to; 0 when the prefix is unknown.
std::uint32_t namespace_of(const lysc_type_leafref& type, std::string_view prefix,
                           std::uint32_t own) {
  if (prefix.empty()) return own;
  LY_ARRAY_COUNT_TYPE i = 0;
  LY_ARRAY_FOR(type.prefixes, i) {
    const char* const known = type.prefixes[i].prefix;
    if (known != nullptr && prefix == known) return kestrel_str2hash(type.prefixes[i].mod->ns);
  }
  return 0;
}

// The names of a path that leads from a key down into its own entry, "../config/name"; nothing for
// any other path: one that leaves the entry may lead to many leaves.
std::optional<std::vector<std::string_view>> names_below_entry(std::string_view path) {
  constexpr std::string_view kUp = "../";
  if (path.substr(0, kUp.size()) != kUp) return std::nullopt;
  path.remove_prefix(kUp.size());
  if (path.find('[') != std::string_view::npos || path.find('(') != std::string_view::npos) {
    return std::nullopt;
  }
  std::vector<std::string_view> names;
  for (;;) {
    const std::size_t slash = path.find('/');
    const std::string_view name = path.substr(0, slash);
    if (name.empty() || name == "." || name == "..") return std::nullopt;
    names.push_back(name);
    if (slash == std::string_view::npos) return names;
    path.remove_prefix(slash + 1);
  }
}

std::vector<kestrel_cs_node*> find_twin(const Schema& schema, const kestrel_cs_node* list,
                                        const TargetKey& key) {
  const lysc_type* const type = type_of(key.schema);
  if (type->basetype != LY_TYPE_LEAFREF) return {};
  const auto& reference = *reinterpret_cast<const lysc_type_leafref*>(type);
  if (reference.require_instance == 0) return {};
  const auto names = names_below_entry(lyxp_get_expr(reference.path));
  if (!names || names->size() < 2) return {};
  std::vector<kestrel_cs_node*> twin;
  const kestrel_cs_node* parent = list;
  for (const std::string_view& written : *names) {
    const WrittenName name = split_name(written);
    const std::uint32_t ns = namespace_of(reference, name.module, key.node->ns);
    kestrel_cs_node* const node = ns != 0 ? schema.names().child(parent, name.name, ns) : nullptr;
    const lysc_node* const compiled = node != nullptr ? schema.compiled(node) : nullptr;
    if (compiled == nullptr || is_state(node)) return {};
    const bool is_last = &written == &names->back();
    if (is_last != (compiled->nodetype == LYS_LEAF)) return {};
    // Containers that stand for nothing by themselves: creating one says no more than the leaf.
    if (!is_last && !lysc_is_np_cont(compiled)) return {};
    twin.push_back(node);
    parent = node;
  }
  return twin;
}

}  // namespace

bool KeyValues::read(TargetKey& key, std::string& rule) {
  if (const char* fault = text::yang_text_fault(key.sent); fault != nullptr) {
    rule = fault;
    return false;
  }
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!values_.check(key.node, key.sent, kestrel::Written::kText, lenient_, key.stored, rule)) {
      return false;
    }
  }
  key.given = key.sent;
  if (!key.stored.qualified.empty()) {
    if (key.stored.as_given) key.stored.text = key.sent;
    key.stored.as_given = false;
    key.given = key.stored.qualified;
  }
  key.canonical = canonical_text(key.schema, key.given);
  return true;
}

std::vector<kestrel_cs_node*> KeyValues::twin_of(const kestrel_cs_node* list,
                                                 const TargetKey& key) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto known = twins_.find(key.node);
  if (known != twins_.end()) return known->second;
  return twins_.emplace(key.node, find_twin(schema_, list, key)).first->second;
}

}  // namespace nexa::model
