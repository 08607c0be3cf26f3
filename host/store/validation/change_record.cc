// Parents stand in the diff with the operation "none"; what is below a created node is created with
// it, except in user-ordered leaf-lists, where each entry says which one it follows.
#include "store/validation/change_record.h"

namespace nexa::host {
namespace {

constexpr char kOperation[] = "yang:operation";
constexpr char kNone[] = "none";
constexpr char kCreate[] = "create";
constexpr char kDelete[] = "delete";
constexpr char kValue[] = "yang:value";

bool is_user_ordered_leaf_list(const lyd_node* node) {
  return node->schema->nodetype == LYS_LEAFLIST && (node->schema->flags & LYS_ORDBY_USER) != 0;
}

bool has_user_order(const lyd_node* node) {
  if (lysc_is_userordered(node->schema)) return true;
  for (const lyd_node* child = lyd_child(node); child != nullptr; child = child->next) {
    if (has_user_order(child)) return true;
  }
  return false;
}

}  // namespace

bool ChangeRecord::add_created(const lyd_node* node) {
  const lyd_node* const parent = lyd_parent(node);
  const bool inherits = parent != nullptr && is_created_.count(parent) != 0;
  const bool anchored = is_user_ordered_leaf_list(node);
  lyd_node* const copy = add_copy(node, 0, inherits && !anchored ? nullptr : kCreate);
  if (copy == nullptr) return false;
  is_created_[node] = true;
  return !anchored || add_anchor(node, copy);
}

bool ChangeRecord::add_deleted(const lyd_node* node) {
  if (copies_.count(node) != 0 || has_user_order(node)) return false;
  if (add_copy(node, LYD_DUP_RECURSIVE, kDelete) == nullptr) return false;
  copies_.erase(node);
  return true;
}

TreePtr ChangeRecord::take() {
  copies_.clear();
  is_created_.clear();
  return std::move(diff_);
}

// The node of the diff that stands for `node`, made with its parents when it is not there.
lyd_node* ChangeRecord::copy_of(const lyd_node* node) {
  const auto found = copies_.find(node);
  return found != copies_.end() ? found->second : add_copy(node, 0, kNone);
}

lyd_node* ChangeRecord::add_copy(const lyd_node* node, std::uint32_t options,
                                 const char* operation) {
  const lyd_node* const parent = lyd_parent(node);
  lyd_node* parent_copy = nullptr;
  if (parent != nullptr) {
    parent_copy = copy_of(parent);
    if (parent_copy == nullptr) return nullptr;
    // Only the top of a diff needs to say that nothing happened to it.
    if (operation == kNone) operation = nullptr;
  }
  lyd_node* copy = nullptr;
  if (lyd_dup_single(node, reinterpret_cast<lyd_node_inner*>(parent_copy),
                     options | LYD_DUP_NO_META, &copy) != LY_SUCCESS) {
    return nullptr;
  }
  if (parent_copy == nullptr) {
    lyd_node* first = diff_.release();
    const LY_ERR linked = lyd_insert_sibling(first, copy, &first);
    diff_.reset(first);
    if (linked != LY_SUCCESS) {
      lyd_free_tree(copy);
      return nullptr;
    }
  }
  copies_[node] = copy;
  if (operation == nullptr) return copy;
  const LY_ERR marked = lyd_new_meta(nullptr, copy, nullptr, kOperation, operation, 0, nullptr);
  return marked == LY_SUCCESS ? copy : nullptr;
}

bool ChangeRecord::add_anchor(const lyd_node* node, lyd_node* copy) {
  const lyd_node* const before = node->prev;
  const bool is_first = before->next == nullptr || before->schema != node->schema;
  return lyd_new_meta(nullptr, copy, nullptr, kValue, is_first ? "" : lyd_get_value(before), 0,
                      nullptr) == LY_SUCCESS;
}

}  // namespace nexa::host
