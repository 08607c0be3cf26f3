// Where among the siblings of one level does an instance stand? Look-ups that any number of readers
// may do at a time: libyang's search for the first instance of a schema node
// (lyd_find_sibling_val without a value) exchanges the comparison of the parent's hash table while
// it runs, so it must never meet another reader; the search for an equal node does not.
#ifndef HOST_STORE_SIBLINGS_H_
#define HOST_STORE_SIBLINGS_H_

#include <cstddef>
#include <cstdint>
#include <unordered_map>

#include "store/tree.h"

namespace nexa::host {

// An instance of `schema` among the siblings that start with `first`, or null. libyang keeps the
// instances of a list together, so looking from both ends meets a long list's entries at once.
const lyd_node* some_instance(const lyd_node* first, const lysc_node* schema);

// The first instance of `schema`, or null; the others follow it without a gap.
const lyd_node* first_instance(const lyd_node* first, const lysc_node* schema);

// The instance after `node` of the same schema node, or null.
inline const lyd_node* instance_after(const lyd_node* node) {
  return node->next != nullptr && node->next->schema == node->schema ? node->next : nullptr;
}

// The first child of a container or an entry; null for other nodes and for null.
inline const lyd_node* first_below(const lyd_node* node) {
  return node == nullptr ? nullptr : lyd_child(node);
}

// The first node at or after `node` that has a schema node: opaque ones are no data.
inline const lyd_node* skip_opaque(const lyd_node* node) {
  while (node != nullptr && node->schema == nullptr) node = node->next;
  return node;
}

// Whether equal instances may stand side by side: lists without keys, leaf-lists of state.
inline bool may_repeat(const lysc_node* schema) { return lysc_is_dup_inst_list(schema); }

// Finds the instance of one list or leaf-list that has the keys or the value of another one, by
// hash. The siblings must stay unchanged meanwhile. One thread.
class EntryFinder {
 public:
  EntryFinder(const lyd_node* first, const lysc_node* schema)
      : first_(first), some_(some_instance(first, schema)) {}

  // Null when there is none. Where equal instances may stand side by side: the first one.
  const lyd_node* find(const lyd_node* like);

  // Any instance, null when there is none.
  const lyd_node* some() const { return some_; }

 private:
  const lyd_node* find_at_top(const lyd_node* like);

  const lyd_node* first_;
  const lyd_node* some_;
  // Top-level nodes have no hash table of libyang's.
  std::unordered_multimap<std::uint32_t, const lyd_node*> top_;
  std::size_t searches_ = 0;
};

}  // namespace nexa::host

#endif  // HOST_STORE_SIBLINGS_H_
