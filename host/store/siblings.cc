// Searches from both ends and by hash.
#include "store/siblings.h"

namespace nexa::host {
namespace {

// Searches at the top level that cost less than an index of it.
constexpr std::size_t kSearchesWithoutIndex = 4;

bool is_same(const lyd_node* node, const lyd_node* like) {
  return node->schema == like->schema && node->hash == like->hash &&
         lyd_compare_single(node, like, 0) == LY_SUCCESS;
}

}  // namespace

const lyd_node* some_instance(const lyd_node* first, const lysc_node* schema) {
  if (first == nullptr) return nullptr;
  const lyd_node* front = first;
  const lyd_node* back = first->prev;
  while (true) {
    if (front->schema == schema) return front;
    if (back->schema == schema) return back;
    // One list between the two: all that is left belongs to it.
    if (front == back || front->next == back) return nullptr;
    if (front->schema == back->schema && front->schema != nullptr) return nullptr;
    front = front->next;
    back = back->prev;
  }
}

const lyd_node* first_instance(const lyd_node* first, const lysc_node* schema) {
  const lyd_node* node = some_instance(first, schema);
  if (node == nullptr) return nullptr;
  while (node != first && node->prev->schema == schema) node = node->prev;
  return node;
}

const lyd_node* EntryFinder::find(const lyd_node* like) {
  if (some_ == nullptr) return nullptr;
  if (may_repeat(like->schema)) {
    const lyd_node* node = first_instance(first_, like->schema);
    while (node != nullptr && lyd_compare_single(node, like, 0) != LY_SUCCESS) {
      node = instance_after(node);
    }
    return node;
  }
  if (some_->parent == nullptr) return find_at_top(like);
  lyd_node* match = nullptr;
  lyd_find_sibling_first(some_, like, &match);
  return match;
}

const lyd_node* EntryFinder::find_at_top(const lyd_node* like) {
  if (++searches_ <= kSearchesWithoutIndex) {
    const lyd_node* node = first_instance(first_, like->schema);
    while (node != nullptr && !is_same(node, like)) node = instance_after(node);
    return node;
  }
  if (top_.empty()) {
    for (const lyd_node* node = first_instance(first_, like->schema); node != nullptr;
         node = instance_after(node)) {
      top_.emplace(node->hash, node);
    }
  }
  const auto [begin, end] = top_.equal_range(like->hash);
  for (auto entry = begin; entry != end; ++entry) {
    if (is_same(entry->second, like)) return entry->second;
  }
  return nullptr;
}

}  // namespace nexa::host
