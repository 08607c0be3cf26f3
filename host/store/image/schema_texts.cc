// One walk over the compiled schema, in the way of its numbering.
#include "store/image/schema_texts.h"

#include <libyang/plugins_types.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <mutex>
#include <unordered_map>

#include "kestrel/json_types.h"
#include "model/schema_names.h"

namespace nexa::store {
namespace {

// What no numbered schema is counted as.
constexpr std::uint64_t kNoSchema = ~std::uint64_t{0};

// Plugins of libyang whose values hold names of nodes, and thus prefixes in XML.
constexpr const char* kPathPlugins[] = {"xpath1.0", "instance-identifier"};

bool holds_paths(const lysc_type* type) {
  if (type->basetype == LY_TYPE_LEAFREF) {
    return holds_paths(reinterpret_cast<const lysc_type_leafref*>(type)->realtype);
  }
  if (type->basetype == LY_TYPE_UNION) {
    const auto* const choice = reinterpret_cast<const lysc_type_union*>(type);
    LY_ARRAY_COUNT_TYPE i = 0;
    LY_ARRAY_FOR(choice->types, i) {
      if (holds_paths(choice->types[i])) return true;
    }
    return false;
  }
  if (type->basetype == LY_TYPE_INST) return true;
  for (const char* const plugin : kPathPlugins) {
    if (std::strstr(type->plugin->id, plugin) != nullptr) return true;
  }
  return false;
}

// Whether another module put the node below its parent, where something else has the same name.
bool shares_name_below(const lysc_node* node, const lysc_node* parent) {
  if (parent->module == node->module) return false;
  const lysc_node* other = nullptr;
  while ((other = lys_getnext(other, parent, nullptr, 0)) != nullptr) {
    if (other != node && std::strcmp(other->name, node->name) == 0) return true;
  }
  return false;
}

// The top-level nodes of all modules, by name.
class TopNames {
 public:
  void add(const lysc_module* module) {
    const lysc_node* node = nullptr;
    while ((node = lys_getnext(node, nullptr, module, 0)) != nullptr) {
      if (schema_number(node) != 0) nodes_[node->name].push_back(node);
    }
  }

  // Those that a client does not mean by the bare name.
  std::vector<const lysc_node*> shared() const {
    std::vector<const lysc_node*> found;
    for (const auto& [name, nodes] : nodes_) {
      const auto of_openconfig = std::count_if(nodes.begin(), nodes.end(), is_of_openconfig);
      for (const lysc_node* const node : nodes) {
        const bool is_meant =
            of_openconfig == 0 ? nodes.size() == 1 : of_openconfig == 1 && is_of_openconfig(node);
        if (!is_meant) found.push_back(node);
      }
    }
    return found;
  }

 private:
  static bool is_of_openconfig(const lysc_node* node) {
    return model::is_openconfig(node->module->name);
  }

  std::unordered_map<std::string_view, std::vector<const lysc_node*>> nodes_;
};

bool has_choice(const lysc_node* node) {
  const lysc_node* child = lysc_node_child(node);
  while (child != nullptr && child->nodetype != LYS_CHOICE) child = child->next;
  return child != nullptr;
}

}  // namespace

std::string xml_attribute(std::string_view text) {
  std::string written;
  for (const char byte : text) {
    switch (byte) {
      case '&':
        written += "&amp;";
        break;
      case '<':
        written += "&lt;";
        break;
      case '"':
        written += "&quot;";
        break;
      default:
        written += byte;
    }
  }
  return written;
}

// A table of an earlier schema is not looked into, not even for whose it is: another thread may be
// replacing it.
const SchemaTexts& SchemaTexts::current() {
  static std::atomic<std::uint64_t> published_for{kNoSchema};
  static std::unique_ptr<const SchemaTexts> published;
  static std::mutex mutex;
  if (published_for.load(std::memory_order_acquire) == schema_generation()) return *published;
  const std::lock_guard<std::mutex> lock(mutex);
  if (published_for.load(std::memory_order_relaxed) != schema_generation()) {
    published.reset(new SchemaTexts());
    published_for.store(schema_generation(), std::memory_order_release);
  }
  return *published;
}

SchemaTexts::SchemaTexts() {
  nodes_.resize(number_schema() + 1);
  std::uint32_t at = 0;
  if (kestrel::context() == nullptr) return;
  TopNames tops;
  while (const lys_module* const module = ly_ctx_get_module_iter(kestrel::context(), &at)) {
    if (module->implemented == 0 || module->compiled == nullptr) continue;
    add_children(nullptr, module->compiled);
    tops.add(module->compiled);
  }
  for (const lysc_node* const node : tops.shared()) nodes_[schema_number(node)].shares_name = true;
}

bool SchemaTexts::add_children(const lysc_node* parent, const lysc_module* module) {
  bool holds_state = false;
  const lysc_node* child = nullptr;
  while ((child = lys_getnext(child, parent, module, 0)) != nullptr) {
    if (schema_number(child) != 0 && add(child, parent)) holds_state = true;
  }
  return holds_state;
}

bool SchemaTexts::add(const lysc_node* node, const lysc_node* parent) {
  SchemaText text;
  const std::string name = node->name;
  text.qualified = keep(",\"" + std::string(node->module->name) + ":" + name + "\":");
  text.bare = keep(",\"" + name + "\":");
  text.name = node->name;
  text.xmlns = xmlns_of(*node->module);
  text.is_key = lysc_is_key(node);
  text.is_inner = (node->nodetype & (LYS_CONTAINER | LYS_LIST)) != 0;
  text.is_config = (node->flags & LYS_CONFIG_W) != 0;
  text.changes_module = parent == nullptr || parent->module != node->module;
  text.shares_name = parent != nullptr && shares_name_below(node, parent);
  const lysc_type* const type = type_of(node);
  text.may_have_prefixes = type != nullptr && holds_paths(type);
  text.mixes_json_types = type != nullptr && kestrel::mixes_json_types(type);
  text.is_plain_container = lysc_is_np_cont(node);
  text.is_presence_container = node->nodetype == LYS_CONTAINER && !text.is_plain_container;
  text.has_choice = store::has_choice(node);
  const bool state_below = text.is_inner && add_children(node, nullptr);
  text.holds_state = state_below || !text.is_config;
  nodes_[schema_number(node)] = text;
  return text.holds_state;
}

std::string_view SchemaTexts::xmlns_of(const lys_module& module) {
  for (const auto& [known, text] : namespaces_) {
    if (known == &module) return text;
  }
  const std::string_view text = keep(" xmlns=\"" + xml_attribute(module.ns) + "\"");
  namespaces_.emplace_back(&module, text);
  return text;
}

}  // namespace nexa::store
