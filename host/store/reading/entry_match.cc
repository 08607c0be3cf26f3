// Entries are found or compared by the canonical texts that the target has.
#include "store/reading/entry_match.h"

#include <algorithm>

namespace nexa::store {

EntryMatch::EntryMatch(const model::TargetNode* meant) : meant_(meant) {
  if (meant == nullptr || meant->keys.empty()) return;
  for (const model::TargetKey& key : meant->keys) {
    if (key.any) return;
    if (&key != meant->keys.data()) key_ += '\0';
    key_ += key.canonical;
  }
  std::size_t wanted = 1;
  if (meant->schema->nodetype == LYS_LIST) {
    wanted = 0;
    for (const lysc_node* leaf = lysc_node_child(meant->schema);
         leaf != nullptr && lysc_is_key(leaf); leaf = leaf->next) {
      ++wanted;
    }
  }
  all_given_ = meant->keys.size() == wanted;
}

bool EntryMatch::matches(const ImageNode& node) const {
  if (meant_ == nullptr) return true;
  return std::all_of(meant_->keys.begin(), meant_->keys.end(),
                     [&node](const model::TargetKey& key) {
                       if (key.any) return true;
                       const ImageNode* const own =
                           node.kind() == ImageKind::kLeaf ? &node : node.inner().find(key.schema);
                       return own != nullptr && own->leaf().text() == key.canonical;
                     });
}

}  // namespace nexa::store
