// In which order do the members of a list entry stand, and does the payload's form fit the keys
// that the path gives? Also where the binding of a payload starts. Items are reordered by
// exchanging what they hold, never by relinking them.
#include <grpc/support/log.h>

#include <cassert>
#include <cstring>
#include <string_view>
#include <utility>

#include "gnmi/gnmi_rpc_msg_helpers.h"
#include "nexa/cjson_csnode.h"
#include "nexa_srv_rpc_msg_helpers/list_keys_order.h"
#include "nexa_srv_rpc_msg_helpers/log_text.h"

namespace nexa {
namespace {

// --- Texts that reach the client.

inline constexpr char kNoModel[] =
    "in walk_breathfirst_cjson_and_swap_contents Failed to find model";
inline constexpr char kNoSchemaForLastElement[] =
    "in walk_breathfirst_cjson_and_swap_contents Failed to find schema for last element in PATH";
inline constexpr char kValueShouldBeArray[] =
    "When list keys are not fully specified json_ietf val should be array ";
inline constexpr char kValueShouldNotBeArray[] =
    "When list keys are fully specified json_ietf val should NOT be array ";

constexpr char kReorderObject[] = "reorder_cjson_object_according_to_keys";
constexpr char kReorderArray[] = "reorder_cjson_according_to_keys";
constexpr char kWalk[] = "walk_breathfirst_cjson_and_swap_contents";

grpc::Status refuse(grpc::StatusCode code, const char* message) {
  gpr_log(GPR_ERROR, "%s", message);
  return {code, message};
}

int type_of(const cJSON* item) { return item->type & 0xFF; }

// Whether the member's name without its module is `key`. Most names differ from the key at their
// end, so that is looked at first.
bool names_key(const char* name, std::string_view key) {
  if (name == nullptr) return false;
  const std::string_view full(name);
  if (!full.ends_with(key)) return false;
  std::string_view module;
  std::string_view local;
  gnmi::RpcMsgHelpers::extract_prefix(full, module, local);
  return local == key;
}

void trace_key(const cJSON* entry, const char* key, std::size_t keys, const char* function) {
  gpr_log(GPR_DEBUG, "in %s at %d object name is \"%s\" ordering key %s of %d keys", function,
          __LINE__, printable(entry->string), printable(key), static_cast<int>(keys));
  for (const cJSON* member = entry->child; member != nullptr; member = member->next) {
    gpr_log(GPR_DEBUG, "in %s at %d child %s of singleton object \"%s\" key is %s ", function,
            __LINE__, printable(member->string), printable(entry->string), printable(key));
  }
}

// Brings the member that `key` names to `position`, and goes on to the end, so that of several the
// last one stays there. Returns how many were met on the way; one moved back to a later place is
// met again. An entry with fewer members than keys has no such position, and nothing moves.
int move_key_to(cJSON* entry, cJSON* position, const char* key, const char* function) {
  int met = 0;
  for (cJSON* member = entry->child; member != nullptr; member = member->next) {
    gpr_log(GPR_DEBUG, "in %s comparing %s with %s", function, printable(member->string),
            printable(key));
    if (key == nullptr || !names_key(member->string, key)) continue;
    ++met;
    if (position == nullptr) continue;
    gpr_log(GPR_DEBUG, "SWAPING %s and %s", member->string, printable(position->string));
    cJsonCsnode::swap_cjson_contents(member, position);
  }
  return met;
}

// Puts the keys first, in their order, each at the place of its rank. True when no key was found
// twice.
bool order_members(cJSON* entry, const std::vector<char*>& keys, const char* function) {
  const bool debug = gpr_should_log(GPR_LOG_SEVERITY_DEBUG) != 0;
  bool settled = true;
  cJSON* position = entry->child;
  for (const char* key : keys) {
    if (debug) trace_key(entry, key, keys.size(), function);
    if (move_key_to(entry, position, key, function) > 1) settled = false;
    if (position != nullptr) position = position->next;
  }
  return settled;
}

// Checks the payload's form against the keys of the path; for a single entry, drops the key members
// that the path gives already.
grpc::Status fit_to_path_keys(cJSON* root, const KestrelPath& path) {
  const std::size_t given = path.instantiated_keys_.size();
  const std::size_t possible = path.possible_keys_.size();
  const bool is_array = type_of(root) == cJSON_Array;
  if (given < possible && !is_array) {
    return refuse(grpc::StatusCode::INVALID_ARGUMENT, kValueShouldBeArray);
  }
  if (given != possible) return grpc::Status::OK;
  if (is_array) return refuse(grpc::StatusCode::INVALID_ARGUMENT, kValueShouldNotBeArray);
  for (const char* key : path.key_names_) {
    gpr_log(GPR_DEBUG, "in %s at %d, Deleting key %s from singleton list element", kWalk, __LINE__,
            printable(key));
    cJSON_DeleteItemFromObject(root, key);
  }
  return grpc::Status::OK;
}

void trace_start(const cJSON* root, const kestrel_cs_node* cs_node) {
  gpr_log(GPR_DEBUG,
          "IN %s at %d parent_cs_node %s address 0x%p cJSON root->type %d root->string %s", kWalk,
          __LINE__, printable_tag(cs_node), static_cast<const void*>(cs_node), root->type,
          printable(root->string));
  if (cs_node->children == nullptr) {
    gpr_log(GPR_DEBUG, "in %s at %d, THERE are no children to cs_node with tag %s", kWalk, __LINE__,
            printable_tag(cs_node));
  } else {
    gpr_log(GPR_DEBUG, "in %s at %d, first child cs_node is %s", kWalk, __LINE__,
            printable_tag(cs_node->children));
  }
  gpr_log(GPR_DEBUG, "IN %s at %d ", kWalk, __LINE__);
}

// A member without a schema node does not fail the walk: it stays unbound, and the caller finds it
// so.
void bind_from_root(cJSON* root, kestrel_cs_node* cs_node, Json2cJsonCsnodeHash* hash) {
  switch (type_of(root)) {
    case cJSON_False:
    case cJSON_True:
      return visit_bool(root, cs_node, hash);
    case cJSON_NULL:
      return visit_null(root, cs_node, hash);
    case cJSON_Number:
      return visit_number(root, cs_node, hash);
    case cJSON_String:
      return visit_string(root, cs_node, hash);
    case cJSON_Array:
      return visit_array(root, cs_node, hash);
    case cJSON_Object:
      static_cast<void>(visit_object(root, cs_node, hash));
      return;
    default:  // unreached: the assertion ends the process, and with it what it has counted
      gpr_log(GPR_ERROR, "in %s at %d: Unknown cJSON Type %d", kWalk, __LINE__, root->type);
      assert(false);
  }
}

}  // namespace

bool reorder_entry(const cJsonCsnode& entry) {
  gpr_log(GPR_DEBUG, "in %s at %d", kReorderObject, __LINE__);
  const bool settled = order_members(entry.cjson, entry.keys, kReorderObject);
  gpr_log(GPR_DEBUG, "Exiting %s at %d", kReorderObject, __LINE__);
  return settled;
}

void cJsonCsnode::reorder_cjson_object_according_to_keys() { reorder_entry(*this); }

void cJsonCsnode::reorder_cjson_according_to_keys() {
  gpr_log(GPR_DEBUG, "in %s at %d", kReorderArray, __LINE__);
  if (!keys.empty()) {
    for (cJSON* entry = cjson->child; entry != nullptr; entry = entry->next) {
      if (type_of(entry) == cJSON_Object) order_members(entry, keys, kReorderArray);
    }
  }
  gpr_log(GPR_DEBUG, "Exiting %s at %d", kReorderArray, __LINE__);
}

void cJsonCsnode::swap_cjson_contents(cJSON* first, cJSON* second) {
  assert(first && second);
  if (first == second) return;
  std::swap(first->child, second->child);
  std::swap(first->type, second->type);
  std::swap(first->valuestring, second->valuestring);
  std::swap(first->valueint, second->valueint);
  std::swap(first->valuedouble, second->valuedouble);
  std::swap(first->string, second->string);
}

grpc::Status cJsonCsnode::walk_breathfirst_cjson_and_swap_contents(cJSON* root,
                                                                   Rfc7951MapperToken* token,
                                                                   KestrelPath* path,
                                                                   Json2cJsonCsnodeHash* hash) {
  kestrel_cs_node* cs_node = nullptr;
  if (path->path_.elem_size() == 0) {
    cs_node = path->root_kestrel_cs_node_of_empty_path(token);
    if (cs_node == nullptr) {
      gpr_log(GPR_ERROR, "Failed to find root model");
      return refuse(grpc::StatusCode::INTERNAL, kNoModel);
    }
    assert(!cs_node->parent);
  } else {
    if (!path->cs_nodes_.empty()) cs_node = path->cs_nodes_.back();
    if (cs_node == nullptr) return refuse(grpc::StatusCode::INTERNAL, kNoSchemaForLastElement);
    if (path->last_cs_node_is_object_list()) {
      grpc::Status status = fit_to_path_keys(root, *path);
      if (!status.ok()) return status;
    }
    if (gpr_should_log(GPR_LOG_SEVERITY_DEBUG) != 0) trace_start(root, cs_node);
  }
  bind_from_root(root, cs_node, hash);
  gpr_log(GPR_DEBUG, "In FUNCTION %s at line %d", kWalk, __LINE__);
  return grpc::Status::OK;
}

}  // namespace nexa
