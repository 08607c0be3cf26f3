// Which entries of a list or leaf-list do the keys of a path name? Values are compared as their
// type compares them: by their canonical texts.
#ifndef HOST_STORE_READING_ENTRY_MATCH_H_
#define HOST_STORE_READING_ENTRY_MATCH_H_

#include <string>

#include "model/target.h"
#include "store/image/image.h"
#include "store/tree.h"

namespace nexa::store {

class EntryMatch {
 public:
  // For the instances of a node that a step can mean, which outlives the object; null: any.
  explicit EntryMatch(const model::TargetNode* meant);

  // The key (image_key) of the only entry that can match; null when several can.
  const std::string* only_entry() const { return all_given_ ? &key_ : nullptr; }

  bool matches(const ImageNode& node) const;

 private:
  const model::TargetNode* const meant_;
  std::string key_;
  bool all_given_ = false;
};

}  // namespace nexa::store

#endif  // HOST_STORE_READING_ENTRY_MATCH_H_
