// Documents and images are walked side by side; entries are found by key, so the cost is the
// document's, not the configuration's.
#include "store/image_merge.h"

#include <algorithm>
#include <unordered_set>

#include "store/image/image_draft.h"
#include "store/image/image_import.h"
#include "store/image/union_value.h"

namespace nexa::store {
namespace {

bool is_explicit(const ImageNode& node) {
  if (node.kind() != ImageKind::kGroup) return !node.is_default();
  if (node.schema()->nodetype == LYS_LIST) return node.group().size() != 0;
  bool found = false;
  node.group().each([&found](const GroupEntry& entry) { found |= !entry.node->is_default(); });
  return found;
}

// The slot of what a document's node stands for; null when it is not there.
ImageSlot* match_of(ImageSlot& parent, const lyd_node* source) {
  ImageSlot* const slot = ImageDraft::child(parent, source->schema);
  if (slot == nullptr || !is_many(source->schema)) return slot;
  return ImageDraft::entry(*slot, tree_key(source));
}

const ImageNode* find_match(const ImageInner& parent, const lyd_node* source) {
  const ImageNode* const child = parent.find(source->schema);
  if (child == nullptr || !is_many(source->schema)) return child;
  const GroupEntry* const entry = child->group().find(tree_key(source));
  return entry != nullptr ? entry->node.get() : nullptr;
}

// The members of the cases that give way to a node (RFC 7950, section 7.9).
template <typename Take>
void each_member_of_other_cases(const lysc_node* schema, Take&& take) {
  for (const lysc_node* node = schema; node != nullptr; node = node->parent) {
    if (node != schema && (node->nodetype & (LYS_CHOICE | LYS_CASE)) == 0) return;
    if (node->nodetype != LYS_CASE) continue;
    for (const lysc_node* other = lysc_node_child(node->parent); other != nullptr;
         other = other->next) {
      if (other == node) continue;
      const lysc_node* member = nullptr;
      while ((member = lys_getnext(member, other, nullptr, 0)) != nullptr) take(member);
    }
  }
}

void drop_other_cases(ImageSlot& parent, const lysc_node* schema) {
  each_member_of_other_cases(
      schema, [&parent](const lysc_node* member) { ImageDraft::remove(parent, member); });
}

bool has_other_case(const ImageInner& parent, const lysc_node* schema) {
  bool found = false;
  each_member_of_other_cases(schema, [&](const lysc_node* member) {
    const ImageNode* const node = parent.find(member);
    found = found || (node != nullptr && is_explicit(*node));
  });
  return found;
}

void put_new(ImageSlot& parent, const lyd_node* source) {
  const lysc_node* const schema = source->schema;
  if (lysc_is_np_cont(schema) && (source->flags & LYD_DEFAULT) != 0) return;
  drop_other_cases(parent, schema);
  if (!is_many(schema)) {
    ImageDraft::put(parent, image_of_node(source));
    return;
  }
  ImageSlot* group = ImageDraft::child(parent, schema);
  // Default values of a leaf-list are all replaced by the first that is configured.
  if (group == nullptr || !is_explicit(**group)) {
    group = ImageDraft::put(parent, ImageGroup::make(schema));
  }
  ImageDraft::put_entry(*group, image_of_node(source));
}

bool is_same_value(const ImageNode& node, const lyd_node* source) {
  if (node.is_default()) return false;
  if (node.kind() == ImageKind::kLeaf) return same_image(node, *ImageLeaf::make(source));
  return node.any().xml() == ImageAny::make(source)->xml();
}

void merge_one(ImageSlot& parent, const lyd_node* source) {
  const ImageNode* const match = find_match(parent->inner(), source);
  if (match == nullptr) return put_new(parent, source);
  if (match->kind() != ImageKind::kInner) {
    // A key without a mark comes from a path, which knows no JSON types.
    if (lysc_is_key(source->schema) && !has_chosen_member(source)) return;
    if (!is_same_value(*match, source)) put_new(parent, source);
    return;
  }
  if (lyd_child(source) == nullptr) return;
  ImageSlot& slot = *match_of(parent, source);
  merge_siblings(slot, lyd_child(source));
}

void replace_one(ImageSlot& parent, const lyd_node* source) {
  const ImageNode* const match = find_match(parent->inner(), source);
  if (match == nullptr || match->kind() != ImageKind::kInner) return merge_one(parent, source);
  replace_siblings(*match_of(parent, source), lyd_child(source));
}

void remove_entries_not_in(ImageSlot& parent, const lysc_node* schema, const lyd_node* sources) {
  const ImageNode* const group = parent->inner().find(schema);
  if (group == nullptr || !is_explicit(*group)) return;
  std::unordered_set<std::string> wanted;
  for (const lyd_node* source = sources; source != nullptr; source = source->next) {
    if (source->schema == schema) wanted.insert(tree_key(source));
  }
  if (wanted.empty()) return ImageDraft::remove(parent, schema);
  std::vector<std::string> gone;
  group->group().each([&](const GroupEntry& entry) {
    std::string key = image_key(*entry.node);
    if (wanted.count(key) == 0) gone.push_back(std::move(key));
  });
  if (gone.empty()) return;
  ImageSlot& slot = *ImageDraft::child(parent, schema);
  for (const std::string& key : gone) ImageDraft::remove_entry(slot, key);
  if (slot->group().size() == 0) ImageDraft::remove(parent, schema);
}

// The group has the document's entries by now; puts them into the document's order.
void make_order(ImageSlot& parent, const lysc_node* schema, const lyd_node* sources) {
  const ImageNode* const child = parent->inner().find(schema);
  if (child == nullptr) return;
  std::vector<const GroupEntry*> wanted;
  for (const lyd_node* source = sources; source != nullptr; source = source->next) {
    if (source->schema != schema) continue;
    const GroupEntry* const entry = child->group().find(tree_key(source));
    if (entry != nullptr) wanted.push_back(entry);
  }
  const bool in_order = std::is_sorted(
      wanted.begin(), wanted.end(),
      [](const GroupEntry* left, const GroupEntry* right) { return left->order < right->order; });
  if (in_order) return;
  std::vector<ImageSlot> nodes;
  nodes.reserve(wanted.size());
  for (const GroupEntry* const entry : wanted) nodes.push_back(entry->node);
  ImageSlot& group = *ImageDraft::child(parent, schema);
  for (ImageSlot& node : nodes) {
    ImageDraft::put_entry(group, std::move(node), group->group().next_order());
  }
}

void replace_instances(ImageSlot& parent, const lysc_node* schema, const lyd_node* sources) {
  remove_entries_not_in(parent, schema, sources);
  for (const lyd_node* source = sources; source != nullptr; source = source->next) {
    if (source->schema == schema) replace_one(parent, source);
  }
  if (lysc_is_userordered(schema)) make_order(parent, schema, sources);
}

// One step of replace_at() for the rest of the chain.
void replace_below(ImageSlot& parent, const lyd_node* document,
                   const std::vector<const lysc_node*>& chain, std::size_t at, bool all_instances) {
  const lysc_node* const schema = chain[at];
  const bool is_last = at + 1 == chain.size();
  if (is_last && all_instances) {
    replace_instances(parent, schema, document);
  } else {
    while (document != nullptr && document->schema != schema) document = document->next;
    if (document == nullptr) return;
    if (is_last) {
      replace_one(parent, document);
    } else if (find_match(parent->inner(), document) == nullptr) {
      put_new(parent, document);
    } else {
      replace_below(*match_of(parent, document), lyd_child(document), chain, at + 1, all_instances);
    }
  }
  refresh_default_flag(parent);
}

void remove_below(ImageSlot& parent, const ImageChain& chain, std::size_t at) {
  const ImageNode& node = *chain[at];
  const lysc_node* const schema = node.schema();
  ImageSlot* slot = ImageDraft::child(parent, schema);
  if (slot == nullptr) return;
  const bool is_last = at + 1 == chain.size();
  if (!is_many(schema)) {
    if (is_last) {
      ImageDraft::remove(parent, schema);
    } else {
      remove_below(*slot, chain, at + 1);
    }
  } else if (is_last) {
    ImageDraft::remove_entry(*slot, image_key(node));
    if ((*slot)->group().size() == 0) ImageDraft::remove(parent, schema);
  } else if (ImageSlot* const entry = ImageDraft::entry(*slot, image_key(node))) {
    remove_below(*entry, chain, at + 1);
  }
  refresh_default_flag(parent);
}

// What stands in `parent` for a node of another image; null when it is not there.
const ImageNode* find_same(const ImageInner& parent, const ImageNode& node) {
  const ImageNode* const child = parent.find(node.schema());
  if (child == nullptr || child->kind() != ImageKind::kGroup) return child;
  const GroupEntry* const entry = child->group().find(image_key(node));
  return entry != nullptr ? entry->node.get() : nullptr;
}

template <typename Visit>
void each_instance(const ImageInner& parent, const Visit& visit) {
  for (const ImageSlot& child : parent.children()) {
    if (child->kind() != ImageKind::kGroup) {
      visit(child);
    } else {
      child->group().each([&visit](const GroupEntry& entry) { visit(entry.node); });
    }
  }
}

bool has_other_type(const ImageNode& node, const ImageNode& given) {
  if (given.is_default() || node.is_default() || node.kind() != given.kind()) return false;
  if (given.kind() == ImageKind::kLeaf) {
    return node.leaf().text() == given.leaf().text() && node.leaf().form() != given.leaf().form();
  }
  if (given.kind() != ImageKind::kInner) return false;
  bool found = false;
  each_instance(given.inner(), [&](const ImageSlot& child) {
    const ImageNode* const same = found ? nullptr : find_same(node.inner(), *child);
    found = found || (same != nullptr && has_other_type(*same, *child));
  });
  return found;
}

}  // namespace

void take_json_types(ImageSlot& image, const ImageInner& given) {
  each_instance(given, [&image](const ImageSlot& child) {
    const ImageNode* const same = find_same(image->inner(), *child);
    if (same == nullptr || !has_other_type(*same, *child)) return;
    ImageSlot* slot = ImageDraft::child(image, child->schema());
    if (is_many(child->schema())) slot = ImageDraft::entry(*slot, image_key(*child));
    if (child->kind() == ImageKind::kInner) {
      take_json_types(*slot, child->inner());
    } else {
      *slot = child;
    }
  });
}

// A container without presence is a default while all that it holds is.
void refresh_default_flag(ImageSlot& slot) {
  const lysc_node* const schema = slot->schema();
  if (schema == nullptr || !lysc_is_np_cont(schema)) return;
  const auto children = slot->inner().children();
  const bool holds = std::any_of(children.begin(), children.end(),
                                 [](const ImageSlot& child) { return is_explicit(*child); });
  ImageDraft::set_default(slot, !holds);
}

void merge_siblings(ImageSlot& parent, const lyd_node* sources) {
  for (const lyd_node* source = sources; source != nullptr; source = source->next) {
    merge_one(parent, source);
  }
  refresh_default_flag(parent);
}

void replace_siblings(ImageSlot& parent, const lyd_node* sources, const model::Target* root) {
  std::unordered_set<const lysc_node*> given;
  for (const lyd_node* source = sources; source != nullptr; source = source->next) {
    given.insert(source->schema);
  }
  std::vector<const lysc_node*> standing;
  for (const ImageSlot& child : parent->inner().children()) {
    if (lysc_is_key(child->schema()) || !is_explicit(*child)) continue;
    const bool stays =
        root != nullptr && !root->scope.is_all() && !root->may_begin_with(child->schema());
    if (!stays) standing.push_back(child->schema());
  }
  for (const lysc_node* const schema : standing) {
    if (given.count(schema) == 0) {
      ImageDraft::remove(parent, schema);
    } else if (is_many(schema)) {
      remove_entries_not_in(parent, schema, sources);
    }
  }
  for (const lyd_node* source = sources; source != nullptr; source = source->next) {
    replace_one(parent, source);
  }
  for (const lysc_node* const schema : given) {
    if (lysc_is_userordered(schema)) make_order(parent, schema, sources);
  }
  refresh_default_flag(parent);
}

void replace_at(ImageSlot& root, const lyd_node* document,
                const std::vector<const lysc_node*>& chain, bool all_instances) {
  replace_below(root, document, chain, 0, all_instances);
}

const lyd_node* contradicting_node(const ImageInner& image, const lyd_node* sources) {
  for (const lyd_node* source = sources; source != nullptr; source = source->next) {
    const ImageNode* const match = find_match(image, source);
    if (match == nullptr) {
      const bool is_nothing = lysc_is_np_cont(source->schema) && lyd_child(source) == nullptr;
      if (!is_nothing && has_other_case(image, source->schema)) return source;
      continue;
    }
    if (match->kind() == ImageKind::kInner) {
      const lyd_node* const fault = contradicting_node(match->inner(), lyd_child(source));
      if (fault != nullptr) return fault;
    } else if (!lysc_is_key(source->schema) && !is_same_value(*match, source)) {
      return source;
    }
  }
  return nullptr;
}

void remove_chain(ImageSlot& root, const ImageChain& chain) { remove_below(root, chain, 0); }

}  // namespace nexa::store
