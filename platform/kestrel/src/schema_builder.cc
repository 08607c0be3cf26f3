// libyang's compiled trees become node records. Only what the records show is read here.
//
// First an outline is laid out, one entry for each node, siblings together and each subtree behind
// its parent's siblings, so that a walk below one node touches neighbouring memory. Then the
// records are written in one pass over the outline, into an array that never moves.
#include "schema_builder.h"

#include <libyang/libyang.h>
#include <libyang/plugins_types.h>

#include <cctype>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "unique_prefixes.h"
#include "value_types.h"

namespace kestrel {
namespace {

constexpr std::uint16_t kDataNodes =
    LYS_CONTAINER | LYS_LEAF | LYS_LEAFLIST | LYS_LIST | LYS_ANYXML | LYS_ANYDATA;
constexpr std::uint32_t kNoParent = kEmptySlot;

std::string_view text_of(const char* text) {
  return text == nullptr ? std::string_view() : std::string_view(text);
}

// `text` in one line: runs of blanks and line breaks become one blank, none at either end.
std::string one_line(std::string_view text) {
  std::string result;
  for (const char c : text) {
    if (std::isspace(static_cast<unsigned char>(c)) == 0) {
      result += c;
    } else if (!result.empty() && result.back() != ' ') {
      result += ' ';
    }
  }
  if (!result.empty() && result.back() == ' ') result.pop_back();
  return result;
}

// The version that model data announces: openconfig-version where the module has one.
std::string_view version_of(const lys_module& module) {
  const lysc_ext_instance* const extensions = module.compiled->exts;
  LY_ARRAY_COUNT_TYPE i = 0;
  LY_ARRAY_FOR(extensions, i) {
    const lysc_ext& definition = *extensions[i].def;
    if (text_of(definition.name) == "openconfig-version" &&
        text_of(definition.module->name) == "openconfig-extensions") {
      return text_of(extensions[i].argument);
    }
  }
  return text_of(module.revision);
}

class SchemaBuilder {
 public:
  SchemaBuilder(const std::vector<const lys_module*>& modules, Schema& schema)
      : modules_(modules), schema_(schema) {}

  void build() {
    add_namespaces();
    lay_out();
    write_nodes();
    schema_.index();
  }

 private:
  struct Entry {
    const lysc_node* source;  // null for a module's model-data node
    const lys_module* module;
    std::uint32_t parent;
    std::uint32_t first_child = 0;
    std::uint32_t child_count = 0;
  };

  void add_namespaces();
  void lay_out();
  void lay_out_roots(const lys_module& module);
  void lay_out_siblings(const lysc_node* first, std::uint32_t parent);
  void write_nodes();
  void write_node(const Entry& entry, bool has_next, Node& node);
  void write_data_node(const lysc_node& source, kestrel_cs_node& record);
  void write_model_data_node(const lys_module& module, kestrel_cs_node& record);
  void write_type(const lysc_type* type, kestrel_cs_node& record);
  void write_keys(const lysc_node& list, kestrel_cs_node& record);
  void reserve();
  std::uint32_t tag_of(const char* name);
  std::uint32_t namespace_of(const lys_module* module);

  const std::vector<const lys_module*>& modules_;
  Schema& schema_;
  std::vector<Entry> outline_;
  std::vector<std::uint32_t>
      root_places_;  // of modules_[i]; its block of roots ends with model data
  // libyang keeps each string once, so the address stands for the string.
  std::unordered_map<const char*, std::uint32_t> tags_;
  std::unordered_map<const lys_module*, std::uint32_t> namespace_hashes_;
  std::unordered_map<const lyplg_type*, std::uint32_t> derived_codes_;
};

void SchemaBuilder::add_namespaces() {
  std::vector<DeclaredPrefix> declared;
  declared.reserve(modules_.size());
  for (const lys_module* module : modules_) {
    declared.push_back({text_of(module->name), text_of(module->prefix)});
  }
  const std::vector<std::string> prefixes = unique_prefixes(declared);
  schema_.namespaces.reserve(modules_.size());
  for (std::size_t i = 0; i < modules_.size(); ++i) {
    const lys_module& module = *modules_[i];
    const std::uint32_t hash = namespace_of(&module);
    schema_.namespaces.push_back({schema_.strings.text(hash), schema_.strings.store(prefixes[i]),
                                  hash, schema_.strings.store(text_of(module.revision)),
                                  schema_.strings.store(text_of(module.name))});
  }
}

void SchemaBuilder::lay_out() {
  for (const lys_module* module : modules_) {
    root_places_.push_back(static_cast<std::uint32_t>(outline_.size()));
    lay_out_roots(*module);
  }
  std::vector<std::uint32_t> parents;
  for (std::size_t i = outline_.size(); i-- > 0;) parents.push_back(static_cast<std::uint32_t>(i));
  while (!parents.empty()) {
    const std::uint32_t parent = parents.back();
    parents.pop_back();
    if (outline_[parent].source == nullptr) continue;
    const auto first = static_cast<std::uint32_t>(outline_.size());
    lay_out_siblings(lysc_node_child(outline_[parent].source), parent);
    const auto end = static_cast<std::uint32_t>(outline_.size());
    outline_[parent].first_child = first;
    outline_[parent].child_count = end - first;
    for (std::uint32_t i = end; i-- > first;) {
      if ((outline_[i].source->nodetype & (LYS_CONTAINER | LYS_LIST)) != 0) parents.push_back(i);
    }
  }
}

void SchemaBuilder::lay_out_roots(const lys_module& module) {
  lay_out_siblings(module.compiled->data, kNoParent);
  outline_.push_back({nullptr, &module, kNoParent});
}

// Choices and cases are no part of a data tree: what they hold stands in their place. The depth of
// the recursion is the depth to which the module nests choices.
void SchemaBuilder::lay_out_siblings(const lysc_node* first, std::uint32_t parent) {
  for (const lysc_node* node = first; node != nullptr; node = node->next) {
    if ((node->nodetype & (LYS_CHOICE | LYS_CASE)) != 0) {
      lay_out_siblings(lysc_node_child(node), parent);
    } else if ((node->nodetype & kDataNodes) != 0) {
      outline_.push_back({node, node->module, parent});
    }
  }
}

// Records point into these arrays, so each is made large enough at once.
void SchemaBuilder::reserve() {
  std::size_t keys = 0;
  for (const Entry& entry : outline_) {
    if (entry.source == nullptr || entry.source->nodetype != LYS_LIST) continue;
    keys += entry.child_count + 1;
  }
  schema_.keys.reserve(keys);
  constexpr std::size_t kModelDataSize = 4;
  schema_.meta_data.reserve(modules_.size() * kModelDataSize);
  schema_.nodes.resize(outline_.size());
}

void SchemaBuilder::write_nodes() {
  reserve();
  for (std::size_t i = 0; i < outline_.size(); ++i) {
    const bool has_next = i + 1 < outline_.size() && outline_[i + 1].parent == outline_[i].parent &&
                          outline_[i].source != nullptr;
    write_node(outline_[i], has_next, schema_.nodes[i]);
  }
  schema_.node_count = outline_.size() - modules_.size();
  schema_.roots.reserve(root_places_.size());
  for (const std::uint32_t place : root_places_) {
    schema_.roots.push_back(&schema_.nodes[place].record);
  }
}

void SchemaBuilder::write_node(const Entry& entry, bool has_next, Node& node) {
  kestrel_cs_node& record = node.record;
  Node* const nodes = schema_.nodes.data();
  record.ns = namespace_of(entry.module);
  record.parent = entry.parent == kNoParent ? nullptr : &nodes[entry.parent].record;
  record.children = entry.child_count == 0 ? nullptr : &nodes[entry.first_child].record;
  record.next = has_next ? &(&node + 1)->record : nullptr;
  if (entry.source == nullptr) {
    write_model_data_node(*entry.module, record);
  } else {
    write_data_node(*entry.source, record);
  }
}

void SchemaBuilder::write_data_node(const lysc_node& source, kestrel_cs_node& record) {
  record.tag = tag_of(source.name);
  if ((source.flags & LYS_CONFIG_R) != 0) record.flags |= KESTREL_FLAG_STATE;
  switch (source.nodetype) {
    case LYS_CONTAINER:
      if ((source.flags & LYS_PRESENCE) != 0) record.flags |= KESTREL_FLAG_PRESENCE;
      break;
    case LYS_LIST:
      record.flags |= KESTREL_FLAG_LIST;
      write_keys(source, record);
      break;
    case LYS_LEAF:
      write_type(reinterpret_cast<const lysc_node_leaf&>(source).type, record);
      break;
    case LYS_LEAFLIST:
      record.flags |= KESTREL_FLAG_LIST | KESTREL_FLAG_LEAF_LIST;
      write_type(reinterpret_cast<const lysc_node_leaflist&>(source).type, record);
      break;
    default:
      record.flags |= KESTREL_FLAG_ANY_DATA;
      break;
  }
}

void SchemaBuilder::write_type(const lysc_type* type, kestrel_cs_node& record) {
  if (type->basetype == LY_TYPE_LEAFREF) {
    record.flags |= KESTREL_FLAG_LEAFREF;
    // The end of the chain, should the target be a leafref itself.
    type = reinterpret_cast<const lysc_type_leafref*>(type)->realtype;
  }
  const auto [known, added] = derived_codes_.try_emplace(type->plugin, kNoValueType);
  if (added) known->second = derived_code(text_of(type->plugin->id));
  record.shallow_type =
      known->second != kNoValueType ? known->second : built_in_code(type->basetype);
}

// libyang moves the keys to the front of a list's children, in the order of the key statement.
void SchemaBuilder::write_keys(const lysc_node& list, kestrel_cs_node& record) {
  const std::size_t first = schema_.keys.size();
  for (const lysc_node* child = lysc_node_child(&list); child != nullptr && lysc_is_key(child);
       child = child->next) {
    schema_.keys.push_back(tag_of(child->name));
  }
  if (schema_.keys.size() == first) return;
  schema_.keys.push_back(0);
  record.keys = schema_.keys.data() + first;
}

void SchemaBuilder::write_model_data_node(const lys_module& module, kestrel_cs_node& record) {
  record.tag = schema_.strings.intern("gnmi-model-data");
  record.flags = KESTREL_FLAG_META_DATA;
  std::vector<kestrel_meta_data>& list = schema_.meta_data;
  const std::size_t first = list.size();
  list.push_back({"module-name", schema_.strings.store(text_of(module.name))});
  list.push_back({"organization", schema_.strings.store(one_line(text_of(module.org)))});
  list.push_back({"semver", schema_.strings.store(version_of(module))});
  list.push_back({nullptr, nullptr});
  record.meta_data = list.data() + first;
}

std::uint32_t SchemaBuilder::tag_of(const char* name) {
  const auto [known, added] = tags_.try_emplace(name, 0U);
  if (added) known->second = schema_.strings.intern(name);
  return known->second;
}

std::uint32_t SchemaBuilder::namespace_of(const lys_module* module) {
  const auto [known, added] = namespace_hashes_.try_emplace(module, 0U);
  if (added) known->second = schema_.strings.intern(text_of(module->ns));
  return known->second;
}

}  // namespace

std::unique_ptr<Schema> build_schema(const std::vector<const lys_module*>& modules,
                                     StringTable table) {
  auto schema = std::make_unique<Schema>(std::move(table));
  SchemaBuilder(modules, *schema).build();
  return schema;
}

}  // namespace kestrel
