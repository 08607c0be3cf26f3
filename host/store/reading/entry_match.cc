// The texts of the path become canonical once; entries are found or compared by text.
#include "store/reading/entry_match.h"

#include <optional>

namespace nexa::host {

EntryMatch::EntryMatch(const SelectionStep& step, const lysc_node* schema) {
  if (step.keys.empty()) return;
  if (schema->nodetype == LYS_LIST && (schema->flags & LYS_KEYLESS) == 0) {
    possible_ = set_keys(step, schema);
  } else if (schema->nodetype == LYS_LEAFLIST) {
    const SelectionKey& key = step.keys.front();
    possible_ = step.keys.size() == 1 && *key.written == "." &&
                (key.value == nullptr || set_value(schema, key));
    all_given_ = possible_ && key.value != nullptr;
    if (all_given_) key_ = given_.front().second;
  } else {
    possible_ = false;
  }
}

bool EntryMatch::set_value(const lysc_node* leaf, const SelectionKey& key) {
  std::optional<std::string> text = canonical_value(leaf, *key.value);
  if (!text.has_value()) return false;
  given_.emplace_back(leaf, std::move(*text));
  return true;
}

bool EntryMatch::set_keys(const SelectionStep& step, const lysc_node* list) {
  for (const SelectionKey& key : step.keys) {
    const lysc_node* const leaf = key_leaf(key, list);
    if (leaf == nullptr) return false;
    if (key.value != nullptr && !set_value(leaf, key)) return false;
  }
  all_given_ = true;
  for (const lysc_node* leaf = lysc_node_child(list); leaf != nullptr && lysc_is_key(leaf);
       leaf = leaf->next) {
    const std::string* const text = given(leaf);
    if (text == nullptr) {
      all_given_ = false;
      return true;
    }
    if (leaf != lysc_node_child(list)) key_ += '\0';
    key_ += *text;
  }
  return true;
}

const std::string* EntryMatch::given(const lysc_node* leaf) const {
  for (const auto& [known, text] : given_) {
    if (known == leaf) return &text;
  }
  return nullptr;
}

bool EntryMatch::matches(const ImageNode& node) const {
  if (!possible_) return false;
  for (const auto& [schema, text] : given_) {
    const ImageNode* const own =
        node.kind() == ImageKind::kLeaf ? &node : node.inner().find(schema);
    if (own == nullptr || own->leaf().text() != text) return false;
  }
  return true;
}

}  // namespace nexa::host
