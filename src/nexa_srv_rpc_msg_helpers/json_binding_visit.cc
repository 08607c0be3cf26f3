// Binds every item of a payload to its schema node, depth first, and has each list entry put its
// keys first. Whether the payload fits the schema is not judged here: a member without a schema
// node ends the work on its object, and only the object's own visitor is told.
#include <grpc/support/log.h>

#include <cassert>
#include <cmath>
#include <cstdio>
#include <string>
#include <string_view>
#include <unordered_map>

#include "gnmi/gnmi_rpc_msg_helpers.h"
#include "nexa/cjson_csnode.h"
#include "nexa/nexa_srv_rpc_msg_helpers.h"
#include "nexa_srv_rpc_msg_helpers/list_keys_order.h"
#include "nexa_srv_rpc_msg_helpers/log_text.h"

namespace nexa {
namespace {

// Reaches the client, continued by the type's name, kName and the member's name.
inline constexpr char kNoSchemaForType[] = "Failed to find schema information for JSON type ";
inline constexpr char kName[] = " name ";

// The members that were found below one schema node so far. Entries of a list name the same members
// in the same order again and again, so the search begins behind the last one found.
class KnownChildren {
 public:
  kestrel_cs_node* find(std::string_view local) {
    for (std::size_t tried = 0; tried < known_.size(); ++tried) {
      if (next_ >= known_.size()) next_ = 0;
      const Child& child = known_[next_++];
      if (child.name == local) return child.node;
    }
    return nullptr;
  }

  void add(kestrel_cs_node* node) {
    known_.push_back({kestrel_hash2str(node->tag), node});
    next_ = known_.size();
  }

 private:
  struct Child {
    std::string_view name;
    kestrel_cs_node* node;
  };
  std::vector<Child> known_;
  std::size_t next_ = 0;
};

// One walk. Recursion goes as deep as the payload, which cJSON limits to 1,000 levels. Every visit
// binds its item, so an item is bound several times in a row, to the same node.
class BindingWalk {
 public:
  explicit BindingWalk(Json2cJsonCsnodeHash* hash)
      : hash_(*hash), debug_(gpr_should_log(GPR_LOG_SEVERITY_DEBUG) != 0) {}

  void visit_name(cJSON* item, kestrel_cs_node* node);
  void visit_value(cJSON* item, kestrel_cs_node* node);
  void visit_array(cJSON* item, kestrel_cs_node* node);
  void visit_string(cJSON* item, kestrel_cs_node* node);
  void visit_number(cJSON* item, kestrel_cs_node* node);
  void visit_bool(cJSON* item, kestrel_cs_node* node);
  void visit_null(cJSON* item, kestrel_cs_node* node);

  // The first member without a schema node, or null.
  cJSON* visit_object(cJSON* item, kestrel_cs_node* node);

 private:
  cJsonCsnode* bind_(cJSON* item, kestrel_cs_node* node, const char* function);
  kestrel_cs_node* find_node_(cJSON* member, kestrel_cs_node* parent, KnownChildren* known);
  void visit_element_(cJSON* child, kestrel_cs_node* node, const char* array);

  Json2cJsonCsnodeHash& hash_;
  const bool debug_;
  cJsonCsnode* last_bound_ = nullptr;
  bool entry_settled_ = false;  // whether the object visited last has its keys where they stay
  std::unordered_map<const kestrel_cs_node*, KnownChildren> known_;
};

cJsonCsnode* BindingWalk::bind_(cJSON* item, kestrel_cs_node* node, const char* function) {
  const bool is_bound = last_bound_ != nullptr && last_bound_->cjson == item &&
                        last_bound_->cs_node == node;  // unreached: a walk gives an item one node
  if (!is_bound) last_bound_ = hash_.bind(item, node);
  if (debug_) {
    gpr_log(GPR_DEBUG, "in %s at %d cjson 0x%p kestrel_cs_node 0x%p cJsonCsnode 0x%p", function,
            __LINE__, static_cast<void*>(item), static_cast<void*>(node),
            static_cast<void*>(last_bound_));
  }
  return last_bound_;
}

void BindingWalk::visit_name(cJSON* item, kestrel_cs_node* node) {
  bind_(item, node, __func__);
  if (debug_) {
    gpr_log(GPR_DEBUG, "in %s at %d node name: %s", __func__, __LINE__, printable(item->string));
  }
}

void BindingWalk::visit_string(cJSON* item, kestrel_cs_node* node) {
  bind_(item, node, __func__);
  if (!debug_) return;
  gpr_log(GPR_DEBUG, "in %s at %d cjson value: %s, parent cs_node tag %s", __func__, __LINE__,
          printable(item->valuestring), printable_tag(node));
  gpr_log(GPR_DEBUG, "in %s at %d string value %s", __func__, __LINE__,
          printable(item->valuestring));
}

void BindingWalk::visit_number(cJSON* item, kestrel_cs_node* node) {
  bind_(item, node, __func__);
  if (debug_)
    gpr_log(GPR_DEBUG, "in %s at %d node value: %f", __func__, __LINE__, item->valuedouble);
}

// Goes by the double value, which no parsed boolean has, so true and false both print. Users of the
// output are used to it.
void BindingWalk::visit_bool(cJSON* item, kestrel_cs_node* node) {
  bind_(item, node, __func__);
  if (std::fabs(item->valuedouble) >= 1.0) {
    gpr_log(GPR_DEBUG, "in %s at %d node value: true", __func__, __LINE__);
    return;
  }
  if (debug_) gpr_log(GPR_DEBUG, "in %s at %d node value: false", __func__, __LINE__);
  std::fputs(" false \n", stdout);
  std::fflush(stdout);
}

void BindingWalk::visit_null(cJSON* item, kestrel_cs_node* node) {
  bind_(item, node, __func__);
  gpr_log(GPR_DEBUG, "in %s at %d node value: null", __func__, __LINE__);
}

void BindingWalk::visit_value(cJSON* item, kestrel_cs_node* node) {
  bind_(item, node, __func__);
  switch (item->type & 0xFF) {
    case cJSON_False:
    case cJSON_True:
      return visit_bool(item, node);
    case cJSON_NULL:
      return visit_null(item, node);
    case cJSON_Number:
      return visit_number(item, node);
    case cJSON_String:
      return visit_string(item, node);
    case cJSON_Array:
      return visit_array(item, node);
    case cJSON_Object:
      visit_object(item, node);
      return;
    default:  // unreached: the assertion ends the process, and with it what it has counted
      gpr_log(GPR_ERROR, "in %s at %d Unhandled case for node->type %d", __func__, __LINE__,
              item->type);
      assert(false);
  }
}

// What find_matching_cs_node answers. Its lines are all there when they are logged; otherwise what
// it found before is taken from `known`, and failures, which log at ERROR, always come from it.
kestrel_cs_node* BindingWalk::find_node_(cJSON* member, kestrel_cs_node* parent,
                                         KnownChildren* known) {
  const bool by_name = known != nullptr && member->string != nullptr;
  if (by_name) {
    std::string_view module;
    std::string_view local;
    gnmi::RpcMsgHelpers::extract_prefix(std::string_view(member->string), module, local);
    if (kestrel_cs_node* match = known->find(local)) return match;
  }
  kestrel_cs_node* match = cJsonCsnode::find_matching_cs_node(member, parent);
  if (by_name && match != nullptr) known->add(match);
  return match;
}

cJSON* BindingWalk::visit_object(cJSON* item, kestrel_cs_node* node) {
  cJsonCsnode* binding = bind_(item, node, __func__);
  if (debug_ && node != nullptr) {
    gpr_log(GPR_DEBUG, "in %s at %d, parent cs_node ptr 0x%p tag is %s", __func__, __LINE__,
            static_cast<void*>(node), printable_tag(node));
  } else if (debug_) {
    gpr_log(GPR_DEBUG, "in %s at %d, parent cs_node ptr is NULL", __func__, __LINE__);
  }
  visit_name(item, node);

  KnownChildren* known = debug_ || node == nullptr ? nullptr : &known_[node];
  for (cJSON* member = item->child; member != nullptr; member = member->next) {
    if (debug_) {
      gpr_log(GPR_DEBUG, "in %s at %d visiting cjson child type %d child->string %s", __func__,
              __LINE__, member->type, printable(member->string));
    }
    kestrel_cs_node* match = find_node_(member, node, known);
    if (match == nullptr) {
      gpr_log(GPR_ERROR, "in %s at %d no cs_node for child %s | %s.", __func__, __LINE__,
              printable(member->string), cjson_type2name(member).c_str());
      entry_settled_ = false;  // a nested object may have set it
      return member;
    }
    visit_name(member, match);
    visit_value(member, match);
  }
  entry_settled_ = node == nullptr || node->keys == nullptr;
  if (binding->is_list() || binding->is_leaflist()) {
    static_cast<void>(binding->get_keys_of_list());
    entry_settled_ = reorder_entry(*binding);
  }
  return nullptr;
}

void BindingWalk::visit_element_(cJSON* child, kestrel_cs_node* node, const char* array) {
  static constexpr char kVisitArray[] = "visit_array";
  visit_name(child, node);
  const char* name = printable(child->string);
  switch (child->type & 0xFF) {
    case cJSON_Array:
      gpr_log(GPR_DEBUG, "in %s at %d child of array %s is array %s", kVisitArray, __LINE__, array,
              name);
      return visit_array(child, node);
    case cJSON_Number:
      gpr_log(GPR_DEBUG, "in %s at %d child of array %s is number %s", kVisitArray, __LINE__, array,
              name);
      return visit_number(child, node);
    case cJSON_False:
    case cJSON_True:
      gpr_log(GPR_DEBUG, "in %s at %d child of array %s is bool %s", kVisitArray, __LINE__, array,
              name);
      return visit_bool(child, node);
    case cJSON_Object:
      gpr_log(GPR_DEBUG, "in %s at %d child of array %s is object %s", kVisitArray, __LINE__, array,
              name);
      visit_object(child, node);
      return;
    case cJSON_NULL:
      gpr_log(GPR_DEBUG, "in %s at %d child of array %s is NULL %s", kVisitArray, __LINE__, array,
              name);
      return visit_null(child, node);
    case cJSON_String:
      gpr_log(GPR_DEBUG, "in %s at %d child of array %s is a string %s", kVisitArray, __LINE__,
              array, name);
      return visit_string(child, node);
    default:  // unreached: the assertion ends the process, and with it what it has counted
      gpr_log(GPR_ERROR, "in %s at %d: Unknown cJSON Type %d", kVisitArray, __LINE__, child->type);
      assert(false);
  }
}

void BindingWalk::visit_array(cJSON* item, kestrel_cs_node* node) {
  cJsonCsnode* binding = bind_(item, node, __func__);
  if (binding->is_leaflist()) {
    gpr_log(GPR_DEBUG, "in %s at %d  cJsonCsnode indicates LEAFLIST", __func__, __LINE__);
  } else {
    gpr_log(GPR_DEBUG, "in %s at %d  parent cs_node is regular list (NOT A LEAFLIST)", __func__,
            __LINE__);
  }
  cJSON* child = item->child;
  assert(child);
  bool settled = true;
  for (; child != nullptr; child = child->next) {
    entry_settled_ = true;
    visit_element_(child, node, printable(item->string));
    settled = settled && entry_settled_;
  }
  static_cast<void>(binding->get_keys_of_list());
  // The entries have ordered themselves by the same keys; only one that names a key twice, or that
  // was left early, is changed by a second run.
  if (debug_ || !settled) binding->reorder_cjson_according_to_keys();
}

}  // namespace

void visit_value(cJSON* item, kestrel_cs_node* node, Json2cJsonCsnodeHash* hash) {
  BindingWalk(hash).visit_value(item, node);
}

grpc::Status visit_object(cJSON* item, kestrel_cs_node* node, Json2cJsonCsnodeHash* hash) {
  cJSON* unmatched = BindingWalk(hash).visit_object(item, node);
  if (unmatched == nullptr) return grpc::Status::OK;
  return {grpc::StatusCode::INTERNAL,
          kNoSchemaForType + cjson_type2name(unmatched) + kName + printable(unmatched->string)};
}

void visit_array(cJSON* item, kestrel_cs_node* node, Json2cJsonCsnodeHash* hash) {
  BindingWalk(hash).visit_array(item, node);
}

void visit_string(cJSON* item, kestrel_cs_node* node, Json2cJsonCsnodeHash* hash) {
  BindingWalk(hash).visit_string(item, node);
}

void visit_number(cJSON* item, kestrel_cs_node* node, Json2cJsonCsnodeHash* hash) {
  BindingWalk(hash).visit_number(item, node);
}

void visit_bool(cJSON* item, kestrel_cs_node* node, Json2cJsonCsnodeHash* hash) {
  BindingWalk(hash).visit_bool(item, node);
}

void visit_null(cJSON* item, kestrel_cs_node* node, Json2cJsonCsnodeHash* hash) {
  BindingWalk(hash).visit_null(item, node);
}

void visit_name(cJSON* item, kestrel_cs_node* node, Json2cJsonCsnodeHash* hash) {
  BindingWalk(hash).visit_name(item, node);
}

}  // namespace nexa
