// What does one bound item know of its schema node, and which child of a node does a member name?
// Changes neither the payload nor the bindings of other items.
#include "nexa/cjson_csnode.h"

#include <grpc/support/log.h>

#include <string_view>

#include "gnmi/gnmi_rpc_msg_helpers.h"
#include "nexa_srv_rpc_msg_helpers/log_text.h"

namespace nexa {
namespace {

constexpr char kFindMatching[] = "find_matching_cs_node";
constexpr std::uint32_t kIdentityRefType = 44;

std::vector<kestrel_cs_node*> children_of(const kestrel_cs_node* node) {
  std::vector<kestrel_cs_node*> children;
  if (node == nullptr) return children;
  std::size_t count = 0;
  for (const kestrel_cs_node* child = node->children; child != nullptr; child = child->next)
    ++count;
  children.reserve(count);
  for (kestrel_cs_node* child = node->children; child != nullptr; child = child->next) {
    children.push_back(child);
  }
  return children;
}

// Fills `names` with the key names of the node in the schema's order, in one allocation at most.
void key_names_of(const kestrel_cs_node* node, std::vector<char*>& names) {
  names.clear();
  if (node == nullptr || node->keys == nullptr) return;
  std::size_t count = 0;
  while (node->keys[count] != 0) ++count;
  names.reserve(count);
  for (std::size_t i = 0; i < count; ++i) names.push_back(kestrel_hash2str(node->keys[i]));
}

void trace_search(const cJSON* item, const kestrel_cs_node* parent) {
  if (parent == nullptr) {
    gpr_log(GPR_DEBUG, "IN %s at %d cjson->string %s parent_cs_node is NULL", kFindMatching,
            __LINE__, printable(item->string));
    return;
  }
  gpr_log(GPR_DEBUG, "IN %s at %d cjson->string %s parent_cs_node tag %s", kFindMatching, __LINE__,
          printable(item->string), printable_tag(parent));
}

// The line has room for all names, but each one ends with its zero, so that only the first is ever
// seen.
void trace_children(const kestrel_cs_node* parent) {
  int count = 0;
  for (const kestrel_cs_node* child = parent->children; child != nullptr; child = child->next)
    ++count;
  const char* first = kestrel_hash2str(parent->children->tag);
  gpr_log(GPR_DEBUG, "IN %s at %d: there are %d cs_node Children of %s:  %s", kFindMatching,
          __LINE__, count, printable_tag(parent), first != nullptr ? first : "");
}

kestrel_cs_node* match_list_element(const cJSON* item, const kestrel_cs_node* list) {
  gpr_log(GPR_DEBUG, "in %s at %d, Parent kestrel_cs_node is a list", kFindMatching, __LINE__);
  gpr_log(GPR_DEBUG, "in %s at %d, cJSON array element string: %s", kFindMatching, __LINE__,
          printable(item->string));
  const bool only_child = list->children != nullptr && list->children->next == nullptr;
  return only_child ? list->children : nullptr;
}

// Whole names are compared, without the module in front of them. `local` ends where the member name
// ends.
kestrel_cs_node* match_by_name(const cJSON* item, const kestrel_cs_node* parent,
                               std::string_view local) {
  for (kestrel_cs_node* child = parent->children; child != nullptr; child = child->next) {
    const char* name = kestrel_hash2str(child->tag);
    gpr_log(GPR_DEBUG, "IN %s at %d found cs_node with tag hash %u and tag %s", kFindMatching,
            __LINE__, child->tag, printable(name));
    if (name == nullptr) {
      gpr_log(GPR_ERROR, "Failed to find string for tag hash %u", child->tag);
      return nullptr;
    }
    gpr_log(GPR_DEBUG, "IN %s at %d comparintg cs_node tag %s with cjson_string_without_prefix %s",
            kFindMatching, __LINE__, name, local.data());
    if (local == name) {
      gpr_log(GPR_DEBUG, "IN %s at %d FOUND CS_NODE MATCHING TAG %s", kFindMatching, __LINE__,
              name);
      return child;
    }
  }
  gpr_log(GPR_ERROR, "in %s at %d: Failed to find schema matching cJSON->string: %s", kFindMatching,
          __LINE__, item->string);
  return nullptr;
}

}  // namespace

cJsonCsnode::cJsonCsnode(cJSON* item, kestrel_cs_node* node)
    : cjson(item), cs_node(node), spare(nullptr), keys_done(false) {
  if (is_list()) key_names_of(node, keys);
  keys_done = true;
  children = children_of(node);
}

bool cJsonCsnode::is_list() const {
  return cs_node != nullptr && (cs_node->flags & KESTREL_FLAG_LIST) != 0;
}

bool cJsonCsnode::is_leaflist() const {
  return cs_node != nullptr && (cs_node->flags & KESTREL_FLAG_LEAF_LIST) != 0;
}

bool cJsonCsnode::is_objectlist() const { return is_list() && !is_leaflist(); }

bool cJsonCsnode::is_leafref() const {
  return cs_node != nullptr && (cs_node->flags & KESTREL_FLAG_LEAFREF) != 0;
}

bool cJsonCsnode::is_identityref() const {
  return cs_node != nullptr && cs_node->shallow_type == kIdentityRefType;
}

char* cJsonCsnode::cs_node_tag() const {
  return cs_node != nullptr ? kestrel_hash2str(cs_node->tag) : nullptr;
}

grpc::Status cJsonCsnode::get_keys_of_list() {
  key_names_of(cs_node, keys);
  return grpc::Status::OK;
}

kestrel_cs_node* cJsonCsnode::find_matching_cs_node(cJSON* item, kestrel_cs_node* parent) {
  const bool debug = gpr_should_log(GPR_LOG_SEVERITY_DEBUG) != 0;
  if (debug) trace_search(item, parent);
  if (parent == nullptr) return nullptr;
  if (item->string == nullptr && (parent->flags & KESTREL_FLAG_LIST) != 0) {
    return match_list_element(item, parent);
  }
  if (parent->children == nullptr) return nullptr;
  if (item->string == nullptr) {
    gpr_log(GPR_ERROR, "in %s at %d, cJSON element has no name. type: %d", kFindMatching, __LINE__,
            item->type);
    return nullptr;
  }
  gpr_log(GPR_DEBUG, "IN %s at %d CJSON->string: %s", kFindMatching, __LINE__, item->string);
  std::string_view module;
  std::string_view local;
  gnmi::RpcMsgHelpers::extract_prefix(std::string_view(item->string), module, local);
  gpr_log(GPR_DEBUG, "IN %s at %d cjson_string_without_prefix %s", kFindMatching, __LINE__,
          local.data());
  if (debug) trace_children(parent);
  return match_by_name(item, parent, local);
}

}  // namespace nexa
