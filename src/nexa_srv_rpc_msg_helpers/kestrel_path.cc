// Which schema node does each element of an update's path stand for, and which keys and children
// has the last one? Knows nothing of the payload but the name of its first member, which stands in
// for an empty path.
#include "nexa/kestrel_path.h"

#include <cjson/cJSON.h>
#include <grpc/support/log.h>

#include <cassert>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "gnmi/gnmi_rfc7951_schema_enums.h"
#include "gnmi/gnmi_rpc_msg_helpers.h"
#include "nexa_srv_rpc_msg_helpers/log_text.h"

namespace nexa {
namespace {

// Reaches the client when a path has no schema nodes.
inline constexpr char kNoSchemaForPath[] = "Failed to Find schema information for given Path";

constexpr char kPath2CsNodes[] = "path2cs_nodes";

struct DeleteCJson {
  void operator()(cJSON* item) const { cJSON_Delete(item); }
};
using CJsonTree = std::unique_ptr<cJSON, DeleteCJson>;

// A schema string that has to exist; callers rely on the exception and its text.
std::string_view required(const char* text) {
  if (text == nullptr) throw std::logic_error("basic_string::_M_construct null not valid");
  return text;
}

bool is_leaf_list(const kestrel_cs_node& node) {
  return (node.flags & KESTREL_FLAG_LEAF_LIST) != 0;
}

bool is_object_list(const kestrel_cs_node& node) {
  return (node.flags & (KESTREL_FLAG_LIST | KESTREL_FLAG_LEAF_LIST)) == KESTREL_FLAG_LIST;
}

kestrel_cs_node* last_of(const std::vector<kestrel_cs_node*>& nodes) {
  return nodes.empty() ? nullptr : nodes.back();
}

// The namespace hash of a prefix; entries behind the first equal one are not looked at.
std::uint32_t hash_of_prefix(std::string_view prefix) {
  KestrelNsEntry* entries = nullptr;
  const int count = kestrel_get_nslist(&entries);
  for (int i = 0; i < count; ++i) {
    if (required(entries[i].prefix) == prefix) return entries[i].hash;
  }
  return 0;
}

// The child whose name is `local`, or null. Children are told apart by local name alone; where two
// modules put the same name below a node, the first one is meant.
kestrel_cs_node* find_child(const kestrel_cs_node& parent, std::string_view local,
                            const std::string& element) {
  for (kestrel_cs_node* child = parent.children; child != nullptr; child = child->next) {
    const char* name = kestrel_hash2str(child->tag);
    gpr_log(GPR_DEBUG, "Scanning child_name %s with tag %u", printable(name), child->tag);
    if (name == nullptr) {
      gpr_log(GPR_ERROR, "In %s at %d Failed to find cs_node for %s", kPath2CsNodes, __LINE__,
              element.c_str());
    }
    if (required(name) == local) return child;
  }
  return nullptr;
}

// Appends the schema node of each element of the path; false at the first that has none.
bool resolve_elements(KestrelPath& path) {
  const std::string& root_name = path.path_.elem(0).name();
  gpr_log(GPR_DEBUG, "Path Elem %s", root_name.c_str());
  std::string_view prefix;
  std::string_view local;
  gnmi::RpcMsgHelpers::extract_prefix(std::string_view(root_name), prefix, local);
  path.ns_hash_ = hash_of_prefix(prefix);
  if (path.ns_hash_ == 0) {
    gpr_log(GPR_ERROR, "In %s at %d Failed to hash for namespace from %s", kPath2CsNodes, __LINE__,
            root_name.c_str());
    return false;
  }
  // The namespace's first top-level node stands for element 0 whatever its local name; callers that
  // serve several top-level nodes compare the names themselves.
  kestrel_cs_node* root = kestrel_find_cs_root(path.ns_hash_);
  if (root == nullptr) return false;
  path.cs_nodes_.push_back(root);

  for (int i = 1; i < path.path_.elem_size(); ++i) {
    // Below a node without children an element is skipped; the number of nodes tells the caller.
    if (path.cs_nodes_.back()->children == nullptr) continue;
    const std::string& element = path.path_.elem(i).name();
    gnmi::RpcMsgHelpers::extract_prefix(std::string_view(element), prefix, local);
    kestrel_cs_node* child = find_child(*path.cs_nodes_.back(), local, element);
    if (child == nullptr) {
      gpr_log(GPR_ERROR, "in %s at %d: Failed to find cs_node matching %s", kPath2CsNodes, __LINE__,
              local.data());
      return false;
    }
    path.cs_nodes_.push_back(child);
  }
  return true;
}

void collect_instantiated_keys(KestrelPath& path) {
  gpr_log(GPR_DEBUG, "in %s at %d", kPath2CsNodes, __LINE__);
  for (const auto& [key, value] : path.path_.elem(path.path_.elem_size() - 1).key()) {
    path.instantiated_keys_[key] = value;
    gpr_log(GPR_DEBUG, "in %s at %d instantiated key %s  in last element", kPath2CsNodes, __LINE__,
            value.c_str());
  }
}

void collect_schema_keys(KestrelPath& path, const kestrel_cs_node& last) {
  gpr_log(GPR_DEBUG, "in %s at %d", kPath2CsNodes, __LINE__);
  if (last.keys == nullptr) {
    gpr_log(GPR_DEBUG, "in %s at %d. NO KEYS", kPath2CsNodes, __LINE__);
    return;
  }
  for (const std::uint32_t* key = last.keys; *key != 0; ++key) {
    char* name = kestrel_hash2str(*key);
    gpr_log(GPR_DEBUG, "in %s at %d key %s found in cs_node", kPath2CsNodes, __LINE__,
            printable(name));
    path.possible_keys_[std::string(required(name))] = nullptr;
    path.key_names_.push_back(name);
  }
  gpr_log(GPR_DEBUG,
          "in %s at %d. The cs_node 0x%p matching the last element in the path has %d keys",
          kPath2CsNodes, __LINE__, static_cast<const void*>(&last),
          static_cast<int>(path.possible_keys_.size()));
}

// The name of the first member of a JSON object; none, and logged, when there is no such member.
std::optional<std::string> first_member_name(const std::string& json, const char* function) {
  const CJsonTree tree(cJSON_Parse(json.c_str()));
  if (tree == nullptr) {
    gpr_log(GPR_ERROR, "in %s at %d: json_val %s is invalid", function, __LINE__, json.c_str());
    return std::nullopt;
  }
  const cJSON* member = tree->child;
  if (member == nullptr || member->string == nullptr) {
    gpr_log(GPR_ERROR,
            "in %s at %d: Invalid root cJSON element (no string field in %s) when Path is empty",
            function, __LINE__, json.c_str());
    return std::nullopt;
  }
  return std::string(member->string);
}

}  // namespace

KestrelPath::KestrelPath(gnmi::Path path, std::string json_val)
    : path_(std::move(path)), json_val_(std::move(json_val)) {}

KestrelPath::~KestrelPath() = default;

std::uint32_t KestrelPath::find_hash_for_ns(std::string prefix) { return hash_of_prefix(prefix); }

bool KestrelPath::path2cs_nodes() {
  if (resolved_) return true;
  if (path_.elem_size() == 0) {
    gpr_log(GPR_DEBUG, "in %s at %d Empty Path", __func__, __LINE__);
    return true;
  }
  if (!resolve_elements(*this)) return false;
  resolved_ = true;
  const kestrel_cs_node* last = last_of(cs_nodes_);
  if (last == nullptr) {  // unreached: a path that has an element and is resolved has a last node
    gpr_log(GPR_ERROR, "in %s at %d could not find last cs_node in xpath", __func__, __LINE__);
    return false;
  }
  if (gpr_should_log(GPR_LOG_SEVERITY_DEBUG)) {
    gpr_log(GPR_DEBUG, "in %s at %d last cs_node in xpath is %s flags %d", __func__, __LINE__,
            printable_tag(last), static_cast<int>(last->flags));
  }
  if (is_leaf_list(*last)) {
    gpr_log(GPR_DEBUG, "in %s at %d last cs_node in xpath is a LEAFLIST", __func__, __LINE__);
  }
  if (is_object_list(*last)) {
    gpr_log(GPR_DEBUG, "in %s at %d last cs_node in xpath is an OBJECTLIST", __func__, __LINE__);
  }
  if (is_leaf_list(*last) || is_object_list(*last)) {
    collect_instantiated_keys(*this);
    collect_schema_keys(*this, *last);
  }
  for (kestrel_cs_node* child = last->children; child != nullptr; child = child->next) {
    last_children_[std::string(required(kestrel_hash2str(child->tag)))] = child;
  }
  gpr_log(GPR_DEBUG,
          "Finished Scanning, exiting %s with true. %d children of last cs_node were found",
          __func__, static_cast<int>(last_children_.size()));
  return true;
}

std::tuple<std::string, int, kestrel_cs_node*, grpc::Status> KestrelPath::path2_kestrel_csnode_info(
    const gnmi::Path& path) {
  gpr_log(GPR_DEBUG, "in %s at %d", __func__, __LINE__);
  KestrelPath resolver(path, std::string());
  if (!resolver.path2cs_nodes()) {
    gpr_log(GPR_ERROR, "In %s at %d Failed to find kestrel_cs_node for path", __func__, __LINE__);
    return {std::string(), -1, nullptr, grpc::Status(grpc::StatusCode::INTERNAL, kNoSchemaForPath)};
  }
  if (path.elem_size() == 0) {
    gpr_log(GPR_DEBUG, "in %s at %d, name_space = %s", __func__, __LINE__, "");
    return {std::string(), -1, nullptr, grpc::Status::OK};
  }
  std::string name_space(required(kestrel_hash2str(resolver.ns_hash_)));
  const int depth = path.elem_size() - 1;
  kestrel_cs_node* last = last_of(resolver.cs_nodes_);
  if (gpr_should_log(GPR_LOG_SEVERITY_DEBUG)) {
    gpr_log(GPR_DEBUG, "in %s at %d, name_space = %s, depth %d last schemaId in path %s", __func__,
            __LINE__, name_space.c_str(), depth, printable_tag(last));
  }
  return {std::move(name_space), depth, last, grpc::Status::OK};
}

kestrel_cs_node* KestrelPath::root_kestrel_cs_node_of_empty_path(Rfc7951MapperToken* token) {
  assert(cs_nodes_.empty());
  const std::optional<std::string> member = first_member_name(json_val_, __func__);
  if (!member) return nullptr;
  const std::string& name = *member;
  std::string prefix;
  std::string local;
  std::string name_space;
  if (!token->internalizeVName(name, prefix, local, name_space).ok()) {
    gpr_log(GPR_ERROR, "in %s at %d Failed token->internalizeVName(%s)", __func__, __LINE__,
            name.c_str());
    return nullptr;
  }
  // The registry is asked for the member name as the client wrote it, module name included.
  std::shared_ptr<gnmi::rfc7951::SchemaNode<kestrel_cs_node>> root;
  if (!token->schemaif()->ns2RootSnode(name_space, name, root).ok()) {
    gpr_log(GPR_ERROR, "in %s at %d Failed ns2RootSnode(%s)", __func__, __LINE__, name.c_str());
    return nullptr;
  }
  // The schema library hands its nodes out writable; the registry only promises not to write.
  return const_cast<kestrel_cs_node*>(root->node);
}

bool KestrelPath::last_cs_node_is_leaf() const {
  const kestrel_cs_node* last = last_of(cs_nodes_);
  return last != nullptr && gnmi::rfc7951::is_leaf_type(last->shallow_type);
}

bool KestrelPath::last_cs_node_is_leaflist() const {
  const kestrel_cs_node* last = last_of(cs_nodes_);
  return last != nullptr && is_leaf_list(*last);
}

bool KestrelPath::last_cs_node_is_object_list() const {
  const kestrel_cs_node* last = last_of(cs_nodes_);
  return last != nullptr && is_object_list(*last);
}

}  // namespace nexa
