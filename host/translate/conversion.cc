// The library's functions in their order, and the corrections between them.
#include "translate/conversion.h"

#include <cstring>

#include "translate/json_tree.h"
#include "translate/xml_completion.h"

namespace nexa::host {
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

// The first top-level node of the module: the only one that path2cs_nodes finds.
bool starts_at_first_root(const RequestPath& path) {
  const kestrel_cs_node* root = path.steps.front().node;
  return kestrel_find_cs_root(root->ns) == root;
}

// Makes the resolved path that of the nodes that were asked for: the library matches names without
// their module, and begins at a module's first top-level node.
void correct_nodes(nexa::KestrelPath& resolved, const RequestPath& path) {
  bool right = resolved.cs_nodes_.size() == path.steps.size();
  for (std::size_t index = 0; right && index < path.steps.size(); ++index) {
    right = resolved.cs_nodes_[index] == path.steps[index].node;
  }
  if (right) return;
  resolved.resolved_ = true;
  resolved.ns_hash_ = path.steps.front().node->ns;
  resolved.cs_nodes_.clear();
  resolved.possible_keys_.clear();
  resolved.key_names_.clear();
  resolved.last_children_.clear();
  for (const PathStep& step : path.steps) resolved.cs_nodes_.push_back(step.node);
  const kestrel_cs_node* last = path.last().node;
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

void Conversion::complete_wrapper(xmlNodePtr element, const RequestPath& path,
                                  std::size_t steps) const {
  std::uint32_t ns = 0;
  for (std::size_t index = 0; index < steps && element != nullptr; ++index) {
    const PathStep& step = path.steps[index];
    if (step.node->ns != ns) declare_default(element, kestrel_hash2str(step.node->ns));
    ns = step.node->ns;
    xmlNodePtr inner = element->last;
    add_entry_keys(element, step);
    element = inner;
  }
}

grpc::Status Conversion::bind(Bound& bound, const RequestPath& path, cJSON* root) {
  nexa::KestrelPath& resolved = bound.resolved;
  if (starts_at_first_root(path)) resolved.path2cs_nodes();
  correct_nodes(resolved, path);
  // A list without keys is always written as an array; the walk takes "no keys, none given" for one
  // entry.
  if (is_list(path.last().node) && path.last().node->keys == nullptr) {
    resolved.possible_keys_.emplace("", nullptr);
  }
  return nexa::cJsonCsnode::walk_breathfirst_cjson_and_swap_contents(root, token_.get(), &resolved,
                                                                     &bound.hash);
}

grpc::Status Conversion::wrap(const RequestPath& path, std::size_t steps,
                              nexa::KestrelPath& resolved, xmlNodePtr& attach_point) {
  if (steps == 0) return grpc::Status::OK;
  const gnmi::Path wrapped = internal_path(path, steps, names_);
  xmlNodePtr wrapper =
      Helpers::build_xml_parent_wrapper(&wrapped, &attach_point, &resolved, &mapper_);
  if (wrapper == nullptr) return no_memory();
  complete_wrapper(wrapper, path, steps);
  return grpc::Status::OK;
}

grpc::Status Conversion::add_path(const RequestPath& path, std::size_t steps) {
  if (top_ == nullptr) return no_memory();
  nexa::KestrelPath resolved(internal_path(path, steps, names_), std::string());
  correct_nodes(resolved, path);
  xmlNodePtr attach_point = top_.get();
  return wrap(path, steps, resolved, attach_point);
}

grpc::Status Conversion::add(const RequestPath& path, Payload& payload, std::uint32_t item) {
  if (top_ == nullptr) return no_memory();
  const Reading& reading = payload.readings[item];
  const bool container = reading.role == Role::kContainer;
  const std::size_t steps = path.steps.size() - (container ? 0 : 1);

  // The elements of the path; a leaf, a leaf-list and a list bring their own.
  xmlNodePtr attach_point = top_.get();
  nexa::KestrelPath resolved(internal_path(path, path.steps.size(), names_), std::string());
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
  if (value == nullptr) return grpc::Status::OK;

  const std::uint32_t outer_ns = steps > 0 ? path.steps[steps - 1].node->ns : 0;
  XmlCompletion completion(payload, names_, notes_);
  bool ok = true;
  if (container) {
    nexa::cJsonCsnode::attach_xml_path_wrapper_2_xml_value(bound.resolved, attach_point, value,
                                                           bound.json.get());
    completion.complete(attach_point, item, attach_point == top_.get() ? 0 : reading.node->ns, ok);
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

}  // namespace nexa::host
