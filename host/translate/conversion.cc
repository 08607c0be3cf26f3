// The library's functions in their order, and the corrections between them.
#include "translate/conversion.h"

#include <cstring>

#include "translate/json_tree.h"
#include "translate/xml_completion.h"

namespace nexa::translate {
namespace {

using Helpers = nexa::ServiceRpcMsgHelpers;

constexpr char kNoMemory[] = "not enough memory to convert the value";
constexpr char kNotBound[] = "the value could not be bound to the schema";
constexpr char kNotConverted[] = "the value could not be converted";

grpc::Status internal(const char* text) { return {grpc::StatusCode::INTERNAL, text}; }
grpc::Status no_memory() { return {grpc::StatusCode::RESOURCE_EXHAUSTED, kNoMemory}; }

xmlNodePtr make_element(const char* name) {
  return Helpers::build_xml_node(name, XML_ELEMENT_NODE);
}

// The path as the library's path functions read it: YANG prefixes where the module changes, no
// keys.
gnmi::Path internal_path(const NodeChain& path, std::size_t steps, const SchemaNames& names) {
  gnmi::Path internal;
  std::uint32_t ns = 0;
  for (std::size_t index = 0; index < steps; ++index) {
    const kestrel_cs_node* node = path[index]->node;
    std::string name = local_name(node);
    if (node->ns != ns) {
      const KestrelNsEntry* entry = names.by_hash(node->ns);
      if (entry != nullptr) name.insert(0, ":").insert(0, entry->prefix);
    }
    ns = node->ns;
    internal.add_elem()->set_name(std::move(name));
  }
  return internal;
}

bool is_element(xmlNodePtr element, const kestrel_cs_node* node) {
  return element->type == XML_ELEMENT_NODE &&
         std::strcmp(reinterpret_cast<const char*>(element->name), local_name(node)) == 0;
}

// The first top-level node of the module: the only one that path2cs_nodes finds.
bool starts_at_first_root(const NodeChain& path) {
  const kestrel_cs_node* root = path.front()->node;
  return kestrel_find_cs_root(root->ns) == root;
}

// Makes the resolved path that of the nodes that were asked for: the library matches names without
// their module, and begins at a module's first top-level node.
void correct_nodes(nexa::KestrelPath& resolved, const NodeChain& path) {
  bool right = resolved.cs_nodes_.size() == path.size();
  for (std::size_t index = 0; right && index < path.size(); ++index) {
    right = resolved.cs_nodes_[index] == path[index]->node;
  }
  if (right) return;
  resolved.resolved_ = true;
  resolved.ns_hash_ = path.front()->node->ns;
  resolved.cs_nodes_.clear();
  resolved.possible_keys_.clear();
  resolved.key_names_.clear();
  resolved.last_children_.clear();
  for (const PathStep* step : path) resolved.cs_nodes_.push_back(step->node);
  const kestrel_cs_node* last = path.back()->node;
  for (const std::uint32_t* tag = last->keys; tag != nullptr && *tag != 0; ++tag) {
    resolved.possible_keys_[kestrel_hash2str(*tag)] = nullptr;
    resolved.key_names_.push_back(kestrel_hash2str(*tag));
  }
}

}  // namespace

// The tree that is bound and what it is bound by; the bindings go before the tree.
struct Conversion::Bound {
  Bound(const Payload& payload, const SchemaNames& names, nexa::KestrelPath path)
      : builder(payload, names), resolved(std::move(path)) {}

  JsonTreeBuilder builder;
  text::JsonPtr json;
  nexa::KestrelPath resolved;
  nexa::Json2cJsonCsnodeHash hash;
};

Conversion::Conversion(nexa::ServiceKestrelNamespaceMapperImpl& mapper, const SchemaNames& names,
                       std::vector<std::string>* notes)
    : mapper_(mapper),
      names_(names),
      notes_(notes),
      token_(mapper.newToken()),
      top_(make_element("config")) {}

void Conversion::add_entry_keys(xmlNodePtr element, const PathStep& step) const {
  xmlNodePtr before = element->children;
  for (const PathKey& key : step.keys) {
    std::string name = local_name(key.node);
    std::string text = key.text();
    const bool long_text = needs_placeholder(text);
    std::string carried = long_text ? std::string() : text;
    xmlNodePtr added = Helpers::build_xml_node_and_value(name, carried);
    if (added == nullptr) continue;
    if (long_text) set_text(added, text);
    declare(added, key.stored);
    if (before != nullptr) {
      xmlAddPrevSibling(before, added);
    } else {
      xmlAddChild(element, added);
    }
  }
}

void Conversion::complete_wrapper(xmlNodePtr element, const NodeChain& path, std::size_t steps) {
  std::uint32_t ns = 0;
  for (std::size_t index = 0; index < steps && element != nullptr; ++index) {
    elements_.push_back(element);
    const PathStep& step = *path[index];
    if (step.node->ns != ns) declare_default(element, kestrel_hash2str(step.node->ns));
    ns = step.node->ns;
    xmlNodePtr inner = element->last;
    add_entry_keys(element, step);
    element = inner;
  }
}

grpc::Status Conversion::bind(Bound& bound, const NodeChain& path, cJSON* root) {
  nexa::KestrelPath& resolved = bound.resolved;
  if (starts_at_first_root(path)) resolved.path2cs_nodes();
  correct_nodes(resolved, path);
  // A list without keys is always written as an array; the walk takes "no keys, none given" for one
  // entry.
  if (is_list(path.back()->node) && path.back()->node->keys == nullptr) {
    resolved.possible_keys_.emplace("", nullptr);
  }
  return nexa::cJsonCsnode::walk_breathfirst_cjson_and_swap_contents(root, token_.get(), &resolved,
                                                                     &bound.hash);
}

grpc::Status Conversion::wrap(const NodeChain& path, std::size_t steps, nexa::KestrelPath& resolved,
                              xmlNodePtr& attach_point) {
  elements_.clear();
  if (steps == 0) return grpc::Status::OK;
  const gnmi::Path wrapped = internal_path(path, steps, names_);
  xmlNodePtr wrapper =
      Helpers::build_xml_parent_wrapper(&wrapped, &attach_point, &resolved, &mapper_);
  if (wrapper == nullptr) return no_memory();
  complete_wrapper(wrapper, path, steps);
  return grpc::Status::OK;
}

grpc::Status Conversion::add_path(const NodeChain& path, std::size_t steps) {
  if (top_ == nullptr) return no_memory();
  nexa::KestrelPath resolved(internal_path(path, steps, names_), std::string());
  correct_nodes(resolved, path);
  xmlNodePtr attach_point = top_.get();
  grpc::Status status = wrap(path, steps, resolved, attach_point);
  if (status.ok()) complete_entries(path);
  return status;
}

// The entries above the last step, which may be new: what their keys stand for is in them, too.
void Conversion::complete_entries(const NodeChain& path) {
  for (std::size_t index = 0; index < elements_.size() && index + 1 < path.size(); ++index) {
    for (const PathKey& key : path[index]->keys) {
      if (!key.twin.empty()) add_twin(elements_[index], *path[index], key);
    }
  }
}

// Adds the leaf with the key's value to the entry, unless it has one.
void Conversion::add_twin(xmlNodePtr entry, const PathStep& step, const PathKey& key) {
  xmlNodePtr parent = entry;
  std::uint32_t ns = step.node->ns;
  for (const kestrel_cs_node* node : key.twin) {
    xmlNodePtr element = parent->children;
    while (element != nullptr && !is_element(element, node)) element = element->next;
    const bool is_leaf_node = node == key.twin.back();
    if (element != nullptr && is_leaf_node) return;
    if (element == nullptr) {
      std::string text = is_leaf_node ? key.text() : std::string();
      element = make_element(local_name(node));
      if (element == nullptr) return;
      if (!text.empty()) set_text(element, text);
      if (node->ns != ns) declare_default(element, kestrel_hash2str(node->ns));
      xmlAddChild(parent, element);
      if (is_leaf_node) declare(element, key.stored);
    }
    ns = node->ns;
    parent = element;
  }
  if (notes_ == nullptr) return;
  std::string leaf;
  for (const kestrel_cs_node* node : key.twin) leaf.append("/").append(local_name(node));
  notes_->push_back("entry of " + std::string(local_name(step.node)) + ": " + leaf.substr(1) +
                    " is set with its key " + local_name(key.node));
}

grpc::Status Conversion::add(const NodeChain& path, Payload& payload, std::uint32_t item) {
  if (top_ == nullptr) return no_memory();
  const Reading& reading = payload.readings[item];
  const bool container = reading.role == Role::kContainer;
  const std::size_t steps = path.size() - (container ? 0 : 1);

  // The elements of the path; a leaf, a leaf-list and a list bring their own.
  xmlNodePtr attach_point = top_.get();
  nexa::KestrelPath resolved(internal_path(path, path.size(), names_), std::string());
  Bound bound(payload, names_, std::move(resolved));
  xmlNodePtr value = nullptr;
  text::XmlNodePtr value_owner;
  if (reading.role != Role::kNone && reading.role != Role::kAnyData) {
    bound.json = bound.builder.build(item);
    if (bound.json == nullptr) return no_memory();
    grpc::Status status = bind(bound, path, bound.json.get());
    if (!status.ok()) return status;
    if (!bound.builder.correct(item, bound.hash)) return internal(kNotBound);
    value = Helpers::start_json2xml(token_, bound.json.get(), &status, &bound.hash, &mapper_);
    value_owner.reset(value);
    if (!status.ok()) return status;
    if (value == nullptr) return internal(kNotConverted);
  } else if (reading.role == Role::kAnyData) {
    value_owner.reset(make_element(local_name(reading.node)));
    value = value_owner.get();
    if (value == nullptr) return no_memory();
  }
  grpc::Status wrapped = wrap(path, steps, bound.resolved, attach_point);
  if (!wrapped.ok()) return wrapped;
  if (value == nullptr) {
    complete_entries(path);
    return grpc::Status::OK;
  }

  const std::uint32_t outer_ns = steps > 0 ? path[steps - 1]->node->ns : 0;
  XmlCompletion completion(payload, names_, notes_);
  bool ok = true;
  if (container) {
    nexa::cJsonCsnode::attach_xml_path_wrapper_2_xml_value(bound.resolved, attach_point, value,
                                                           bound.json.get());
    completion.complete(attach_point, item, attach_point == top_.get() ? 0 : reading.node->ns, ok);
    complete_entries(path);
    return ok ? grpc::Status::OK : internal(kNotConverted);
  }
  xmlNodePtr last = attach_point->last;
  if (reading.role == Role::kArray) {
    while (value->children != nullptr) {
      xmlNodePtr entry = value->children;
      xmlUnlinkNode(entry);
      xmlAddChild(attach_point, entry);
    }
  } else {
    xmlAddChild(attach_point, value_owner.release());
  }
  xmlNodePtr first = last != nullptr ? last->next : attach_point->children;
  completion.complete(first, item, outer_ns, ok);
  complete_entries(path);
  return ok ? grpc::Status::OK : internal(kNotConverted);
}

grpc::Status Conversion::finish(std::string& xml) {
  if (top_ == nullptr) return no_memory();
  const text::XmlTextPtr text(Helpers::build_xml_str(top_.get()));
  if (text == nullptr) return no_memory();
  static_cast<void>(top_.release());
  xml.assign(reinterpret_cast<const char*>(text.get()));
  return grpc::Status::OK;
}

}  // namespace nexa::translate
