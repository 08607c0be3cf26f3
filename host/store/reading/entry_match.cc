// A detached copy of an entry's keys takes the values of the path; libyang compares with it.
#include "store/reading/entry_match.h"

#include <cstring>

namespace nexa::host {

const lyd_node* key_of(const lyd_node* entry, const lysc_node* schema) {
  for (const lyd_node* key = lyd_child(entry);
       key != nullptr && key->schema != nullptr && lysc_is_key(key->schema); key = key->next) {
    if (key->schema == schema) return key;
  }
  return nullptr;
}

EntryMatch::EntryMatch(const SelectionStep& step, const lyd_node* example) {
  if (step.keys.empty()) return;
  const lysc_node* schema = example->schema;
  const bool is_entry = schema->nodetype == LYS_LIST && (schema->flags & LYS_KEYLESS) == 0;
  if (!is_entry && schema->nodetype != LYS_LEAFLIST) {
    possible_ = false;
    return;
  }
  lyd_node* copy = nullptr;
  if (step.has_values() && lyd_dup_single(example, nullptr, LYD_DUP_NO_META, &copy) == LY_SUCCESS) {
    pattern_.reset(copy);
  }
  if (step.has_values() && pattern_ == nullptr) {
    possible_ = false;
  } else if (is_entry) {
    possible_ = set_keys(step, schema);
  } else {
    const SelectionKey& key = step.keys.front();
    possible_ = step.keys.size() == 1 && *key.written == "." &&
                (key.value == nullptr || set_value(pattern_.get(), key));
    all_given_ = possible_ && key.value != nullptr;
  }
}

bool EntryMatch::set_value(lyd_node* leaf, const SelectionKey& key) {
  // Asked first, because the setter logs what it refuses.
  if (leaf == nullptr || !takes_value(leaf->schema, *key.value)) return false;
  const LY_ERR set = lyd_change_term(leaf, key.value->c_str());
  if (set != LY_SUCCESS && set != LY_EEXIST && set != LY_ENOT) return false;
  given_.push_back(leaf);
  return true;
}

bool EntryMatch::set_keys(const SelectionStep& step, const lysc_node* list) {
  for (const SelectionKey& key : step.keys) {
    const lysc_node* schema = key_leaf(key, list);
    if (schema == nullptr) return false;
    if (key.value == nullptr) continue;
    auto* leaf = const_cast<lyd_node*>(key_of(pattern_.get(), schema));  // of the copy
    if (!set_value(leaf, key)) return false;
  }
  std::size_t keys = 0;
  for (const lysc_node* leaf = lysc_node_child(list); leaf != nullptr && lysc_is_key(leaf);
       leaf = leaf->next) {
    ++keys;
  }
  all_given_ = given_.size() == keys;
  return true;
}

bool EntryMatch::matches(const lyd_node* entry) const {
  if (!possible_) return false;
  for (const lyd_node* wanted : given_) {
    const lyd_node* own = wanted->schema == entry->schema ? entry : key_of(entry, wanted->schema);
    if (own == nullptr || lyd_compare_single(own, wanted, 0) != LY_SUCCESS) return false;
  }
  return true;
}

}  // namespace nexa::host
