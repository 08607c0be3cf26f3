// The library matches elements by local name, takes a namespace's first top-level node for any
// first element and skips what stands below a childless node; so its answer is held against the
// path here.
#include "translate/bare/target.h"

#include <algorithm>

#include "gnmi/gnmi_rpc_msg_helpers.h"
#include "translate/bare/schema_view.h"
#include "translate/path_string.h"

namespace nexa::host::bare {
namespace {

constexpr std::size_t kShownPath = 1000;

grpc::Status no_schema_node(const gnmi::Path& external, int index) {
  index = std::min(index, external.elem_size() - 1);
  const std::string& name = external.elem(index).name();
  std::string message = "No schema node for path element \"" + shown(name) + "\" of " +
                        shown(format_path_string(external), kShownPath);
  if (index == 0 && name.find(':') == std::string::npos) {
    message += "; write the first element as module-name:" + shown(name);
  }
  return invalid(std::move(message));
}

bool is_namespace_of(const kestrel_cs_node& node, const std::string& prefix,
                     const gnmi::BaseNamespaceMapper& mapper) {
  const auto uri = mapper.nsByYmpPrefix_.find(prefix);
  return uri != mapper.nsByYmpPrefix_.end() && kestrel_str2hash(uri->second.c_str()) == node.ns;
}

// Whether the nodes found are those that the elements name, one for each.
grpc::Status check_nodes(const gnmi::Path& external, const Target& target,
                         const gnmi::BaseNamespaceMapper& mapper) {
  const std::vector<kestrel_cs_node*>& nodes = target.path->cs_nodes_;
  for (int i = 0; i < external.elem_size(); ++i) {
    const auto at = static_cast<std::size_t>(i);
    if (at >= nodes.size() || nodes[at] == nullptr) return no_schema_node(external, i);
    std::string prefix;
    std::string local;
    gnmi::RpcMsgHelpers::extract_prefix(target.internal.elem(i).name(), prefix, local);
    const bool same_module = prefix.empty() || is_namespace_of(*nodes[at], prefix, mapper);
    if (name_of(*nodes[at]) != local || !same_module) return no_schema_node(external, i);
  }
  return grpc::Status::OK;
}

// Checks one key of a list element and, for an identity, writes its value with the declared prefix.
grpc::Status check_key(const kestrel_cs_node& list, const std::string& key, std::string& value,
                       const std::string& place, Rfc7951MapperToken& token) {
  std::string prefix;
  std::string local;
  gnmi::RpcMsgHelpers::extract_prefix(key, prefix, local);
  const std::uint32_t tag = kestrel_str2hash(local.c_str());
  bool known = false;
  for (std::size_t i = 0; list.keys != nullptr && list.keys[i] != 0; ++i) {
    known = known || list.keys[i] == tag;
  }
  if (!known || (!prefix.empty() && !is_namespace_of(list, prefix, *token.mapper()))) {
    return invalid("List " + place + " has no key \"" + shown(local) + "\"");
  }
  if (const char* defect = text_defect(value)) {
    return invalid("Key value of \"" + local + "\" in " + place + " " + defect);
  }
  const kestrel_cs_node* leaf = kestrel_find_cs_node_child(&list, tag, list.ns);
  if (leaf == nullptr || !may_be_identity(*leaf)) return grpc::Status::OK;
  std::string identity_prefix, bare, ns, internal;
  grpc::Status status =
      token.internalizeExplodeValue(value, identity_prefix, bare, ns, internal, 0);
  if (status.ok()) value = internal;
  return status;
}

grpc::Status check_keys(const gnmi::Path& external, Target& target, Rfc7951MapperToken& token) {
  gnmi::Path upto;
  for (int i = 0; i < target.internal.elem_size(); ++i) {
    *upto.add_elem() = external.elem(i);
    const kestrel_cs_node& node = *target.path->cs_nodes_[static_cast<std::size_t>(i)];
    gnmi::PathElem& element = *target.internal.mutable_elem(i);
    const std::string place = shown(format_path_string(upto), kShownPath);
    const bool is_list = kind_of(node) == NodeKind::kList;
    if (!is_list && element.key_size() > 0) return invalid(place + " takes no keys: it is no list");
    for (auto& [key, value] : *element.mutable_key()) {
      grpc::Status status = check_key(node, key, value, place, token);
      if (!status.ok()) return status;
    }
    const bool is_last = i + 1 == target.internal.elem_size();
    const std::size_t given = static_cast<std::size_t>(element.key_size());
    if (is_list && !is_last && given != key_count(node)) {
      return invalid("Path element " + place + " does not give every key of the list");
    }
  }
  return grpc::Status::OK;
}

}  // namespace

bool Target::is_entry() const {
  return kind_of(*node()) == NodeKind::kList && !path->key_names_.empty() &&
         path->instantiated_keys_.size() == path->possible_keys_.size();
}

std::string Target::own_key() const {
  const int last = internal.elem_size() - 1;
  if (last < 1) return std::string();
  const kestrel_cs_node& list = *path->cs_nodes_[static_cast<std::size_t>(last - 1)];
  if (kind_of(list) != NodeKind::kList || list.ns != node()->ns) return std::string();
  for (const auto& [key, value] : internal.elem(last - 1).key()) {
    std::string prefix;
    std::string local;
    gnmi::RpcMsgHelpers::extract_prefix(key, prefix, local);
    if (local == name_of(*node())) return key;
  }
  return std::string();
}

grpc::Status resolve_target(const gnmi::Path& external, const std::string& json_val,
                            const std::shared_ptr<Rfc7951MapperToken>& token, Target& target) {
  target.text = shown(format_path_string(external), kShownPath);
  for (int i = 0; i < external.elem_size(); ++i) {
    if (external.elem(i).name().size() > kMaxTextBytes) return no_schema_node(external, i);
  }
  grpc::Status status = token->internalizePath(external, target.internal);
  if (!status.ok()) return invalid(shown(status.error_message(), kShownPath));
  target.path = std::make_unique<KestrelPath>(target.internal, json_val);
  if (!target.path->path2cs_nodes()) {
    return no_schema_node(external, static_cast<int>(target.path->cs_nodes_.size()));
  }
  status = check_nodes(external, target, *token->mapper());
  if (!status.ok()) return status;
  return check_keys(external, target, *token);
}

}  // namespace nexa::host::bare
