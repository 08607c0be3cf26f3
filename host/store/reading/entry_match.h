// Which entries of a list or leaf-list do the keys of a path name? Values are compared as their
// type compares them: by their canonical texts.
#ifndef HOST_STORE_READING_ENTRY_MATCH_H_
#define HOST_STORE_READING_ENTRY_MATCH_H_

#include <string>
#include <utility>
#include <vector>

#include "store/image/image.h"
#include "store/reading/selection_steps.h"

namespace nexa::host {

class EntryMatch {
 public:
  // For the instances of `schema`, which the step meets.
  EntryMatch(const SelectionStep& step, const lysc_node* schema);

  // Whether the keys can name an entry at all: the node has them, and their types take the values.
  bool is_possible() const { return possible_; }

  // The key (image_key) of the only entry that can match; null when several can.
  const std::string* only_entry() const { return all_given_ ? &key_ : nullptr; }

  bool matches(const ImageNode& node) const;

 private:
  bool set_value(const lysc_node* leaf, const SelectionKey& key);
  bool set_keys(const SelectionStep& step, const lysc_node* list);
  const std::string* given(const lysc_node* leaf) const;

  std::vector<std::pair<const lysc_node*, std::string>> given_;  // leaf, canonical text
  std::string key_;
  bool possible_ = true;
  bool all_given_ = false;
};

}  // namespace nexa::host

#endif  // HOST_STORE_READING_ENTRY_MATCH_H_
