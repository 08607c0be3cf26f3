// Path resolution by (namespace, name) at every element, also below the second top-level node of a
// module.
#include "translate/request_path.h"

#include "gnmi/gnmi_base_namespace_mapper.h"
#include "text/utf8.h"

namespace nexa::host {
namespace {

using gnmi::BaseNamespaceMapper;

grpc::Status refuse(const std::string& element, const std::string& rule) {
  return {grpc::StatusCode::INVALID_ARGUMENT, "path element \"" + element + "\": " + rule};
}

class Resolver {
 public:
  Resolver(const SchemaNames& names, kestrel::ValueChecker& values, RequestPath& out,
           std::vector<std::string>* notes)
      : names_(names), values_(values), out_(out), notes_(notes) {}

  grpc::Status add(const gnmi::PathElem& element, std::string_view modules);

 private:
  grpc::Status add_list_keys(const gnmi::PathElem& element, PathStep& step);
  grpc::Status add_leaf_list_value(const gnmi::PathElem& element, PathStep& step);
  grpc::Status add_key(const gnmi::PathElem& element, const kestrel_cs_node* node,
                       const std::string& value, PathStep& step);
  bool key_is(const std::string& given, const kestrel_cs_node* key) const;
  void note(std::string text) const {
    if (notes_ != nullptr) notes_->push_back(std::move(text));
  }

  const SchemaNames& names_;
  kestrel::ValueChecker& values_;
  RequestPath& out_;
  std::vector<std::string>* notes_;
};

bool Resolver::key_is(const std::string& given, const kestrel_cs_node* key) const {
  const std::size_t colon = given.find(':');
  if (colon == std::string::npos) return given == local_name(key);
  if (given.compare(colon + 1, std::string::npos, local_name(key)) != 0) return false;
  const std::string_view module(given.data(), colon);
  const KestrelNsEntry* entry = names_.by_module(module);
  if (entry == nullptr) entry = names_.by_prefix(module);
  return entry != nullptr && entry->hash == key->ns;
}

grpc::Status Resolver::add_key(const gnmi::PathElem& element, const kestrel_cs_node* node,
                               const std::string& value, PathStep& step) {
  PathKey key;
  key.node = node;
  key.given = value;
  std::string rule;
  if (const char* fault = text::yang_text_fault(value); fault != nullptr) {
    return refuse(element.name(), "key " + std::string(local_name(node)) + ": " + fault);
  }
  if (!values_.check(node, value, kestrel::Written::kText, true, key.stored, rule)) {
    return refuse(element.name(),
                  "key " + std::string(local_name(node)) + "=\"" + value + "\": " + rule);
  }
  if (!key.stored.qualified.empty()) {
    note("key " + std::string(local_name(node)) + " of " + local_name(step.node) + ": identity \"" +
         value + "\" is \"" + key.stored.qualified + "\"");
    if (key.stored.as_given) key.stored.text = value;
    key.stored.as_given = false;
    key.given = key.stored.qualified;
  }
  step.keys.push_back(std::move(key));
  return grpc::Status::OK;
}

grpc::Status Resolver::add_list_keys(const gnmi::PathElem& element, PathStep& step) {
  std::string missing;
  int found = 0;
  for (const std::uint32_t* tag = step.node->keys; tag != nullptr && *tag != 0; ++tag) {
    const kestrel_cs_node* key = kestrel_find_cs_node_child(step.node, *tag, step.node->ns);
    const std::string* value = nullptr;
    for (const auto& [name, given] : element.key()) {
      if (!key_is(name, key)) continue;
      if (value != nullptr) {
        return refuse(element.name(), "key " + std::string(local_name(key)) + " is given twice");
      }
      value = &given;
      ++found;
    }
    if (value == nullptr) {
      missing += (missing.empty() ? "" : ", ") + std::string(local_name(key));
      continue;
    }
    grpc::Status status = add_key(element, key, *value, step);
    if (!status.ok()) return status;
  }
  if (found != element.key_size()) {
    for (const auto& [name, given] : element.key()) {
      bool known = false;
      for (const PathKey& key : step.keys) known = known || key_is(name, key.node);
      if (!known) return refuse(element.name(), "\"" + name + "\" is not a key of this list");
    }
  }
  if (!missing.empty()) return refuse(element.name(), "missing key " + missing);
  return grpc::Status::OK;
}

grpc::Status Resolver::add_leaf_list_value(const gnmi::PathElem& element, PathStep& step) {
  if (element.key_size() != 1 || element.key().begin()->first != ".") {
    return refuse(element.name(), "an entry of a leaf-list is named by [.=value] alone");
  }
  grpc::Status status = add_key(element, step.node, element.key().begin()->second, step);
  out_.leaf_list_entry = status.ok();
  return status;
}

grpc::Status Resolver::add(const gnmi::PathElem& element, std::string_view modules) {
  const kestrel_cs_node* parent = nullptr;
  if (!out_.steps.empty()) {
    const PathStep& above = out_.last();
    parent = above.node;
    if (is_list(parent) && above.keys.empty() && parent->keys != nullptr) {
      return refuse(local_name(parent), "the keys of a list above the last element are needed");
    }
    if (is_leaf(parent) || is_leaf_list(parent) || is_any_data(parent)) {
      return refuse(element.name(),
                    "nothing can stand below \"" + std::string(local_name(parent)) + "\"");
    }
  }
  NamedNode found = names_.resolve(parent, element.name(), NameRules::kPath, modules);
  if (found.node == nullptr) return refuse(element.name(), found.rule);
  if (found.guessed)
    note("path element \"" + element.name() + "\" is " + names_.qualified(found.node));
  PathStep& step = out_.steps.emplace_back();
  step.node = found.node;
  if (element.key_size() == 0) return grpc::Status::OK;
  if (is_leaf_list(step.node)) return add_leaf_list_value(element, step);
  if (!is_list(step.node) || step.node->keys == nullptr) {
    return refuse(element.name(), "only a list with keys takes keys");
  }
  return add_list_keys(element, step);
}

}  // namespace

const PathKey* RequestPath::named_key() const {
  if (steps.size() < 2) return nullptr;
  for (const PathKey& key : steps[steps.size() - 2].keys) {
    if (key.node == last().node) return &key;
  }
  return nullptr;
}

grpc::Status resolve_path(const gnmi::Path& prefix, const gnmi::Path& path,
                          const SchemaNames& names, kestrel::ValueChecker& values, RequestPath& out,
                          std::vector<std::string>* notes) {
  if (!prefix.origin().empty() && !path.origin().empty() && prefix.origin() != path.origin()) {
    return {grpc::StatusCode::INVALID_ARGUMENT, "the prefix has origin \"" + prefix.origin() +
                                                    "\", the path \"" + path.origin() + "\""};
  }
  const std::string& origin = path.origin().empty() ? prefix.origin() : path.origin();
  const auto& known = BaseNamespaceMapper::originName_;
  bool known_origin = false;
  for (const std::string& name : known) known_origin = known_origin || origin == name;
  if (!known_origin && !origin.empty()) {
    return {grpc::StatusCode::INVALID_ARGUMENT, "unknown origin \"" + origin + "\""};
  }
  const std::string_view modules = origin == BaseNamespaceMapper::ORIGIN_OPENCONFIG_STR
                                       ? std::string_view(origin)
                                       : std::string_view();
  Resolver resolver(names, values, out, notes);
  out.steps.reserve(static_cast<std::size_t>(prefix.elem_size()) +
                    static_cast<std::size_t>(path.elem_size()));
  for (const gnmi::Path* part : {&prefix, &path}) {
    for (const gnmi::PathElem& element : part->elem()) {
      grpc::Status status = resolver.add(element, modules);
      if (!status.ok()) return status;
    }
  }
  return grpc::Status::OK;
}

gnmi::Path internal_path(const RequestPath& path, std::size_t steps, const SchemaNames& names) {
  gnmi::Path internal;
  std::uint32_t ns = 0;
  for (std::size_t index = 0; index < steps; ++index) {
    const kestrel_cs_node* node = path.steps[index].node;
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

}  // namespace nexa::host
