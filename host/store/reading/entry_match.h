// Which entries of a list or leaf-list do the keys of a path name? Values are compared as their
// type compares them, not as text.
#ifndef HOST_STORE_READING_ENTRY_MATCH_H_
#define HOST_STORE_READING_ENTRY_MATCH_H_

#include <vector>

#include "store/reading/selection_steps.h"
#include "store/tree.h"

namespace nexa::host {

class EntryMatch {
 public:
  // `example` is any instance of the node that the step meets.
  EntryMatch(const SelectionStep& step, const lyd_node* example);

  // Whether the keys can name an entry at all: the node has them, and their types take the values.
  bool is_possible() const { return possible_; }

  // A node with the keys or the value of the only entry that can match; null when several can.
  const lyd_node* only_entry() const { return all_given_ ? pattern_.get() : nullptr; }

  bool matches(const lyd_node* entry) const;

 private:
  bool set_value(lyd_node* leaf, const SelectionKey& key);
  bool set_keys(const SelectionStep& step, const lysc_node* list);

  TreePtr pattern_;                     // a copy of the example with the given values
  std::vector<const lyd_node*> given_;  // the key leaves of `pattern_` that have one
  bool possible_ = true;
  bool all_given_ = false;
};

// The key leaf of an entry that is an instance of `schema`, or null.
const lyd_node* key_of(const lyd_node* entry, const lysc_node* schema);

}  // namespace nexa::host

#endif  // HOST_STORE_READING_ENTRY_MATCH_H_
