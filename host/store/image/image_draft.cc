// A node is the draft's own when its slot has the only reference to it: all above it is then, too,
// since the way down goes through slots that were made own before.
#include "store/image/image_draft.h"

#include <algorithm>
#include <memory>
#include <new>

#include "store/image/group_trie.h"

namespace nexa::store {
namespace {

// Entries of a group that are looked at one by one.
constexpr std::size_t kFewEntries = 16;

}  // namespace

ImageInner& ImageDraft::own_inner(ImageSlot& slot) {
  if (!slot->is_own()) {
    const ImageInner& old = slot->inner();
    const auto children = old.children();
    slot = ImageInner::make(old.schema(), old.is_default(), {children.begin(), children.end()});
  }
  return const_cast<ImageInner&>(slot->inner());
}

ImageGroup& ImageDraft::own_group(ImageSlot& slot) {
  if (!slot->is_own()) {
    const ImageGroup& old = slot->group();
    ImageRef<ImageGroup> copy = ImageGroup::make(old.schema());
    auto& made = const_cast<ImageGroup&>(*copy);
    made.count_ = old.count_;
    made.next_order_ = old.next_order_;
    made.orders_ = old.orders_;
    made.root_ = old.root_;
    if (made.root_ != nullptr) made.root_->retain();
    slot = std::move(copy);
  }
  return const_cast<ImageGroup&>(slot->group());
}

ImageSlot* ImageDraft::child(ImageSlot& parent, const lysc_node* schema) {
  if (parent->inner().find(schema) == nullptr) return nullptr;
  ImageInner& inner = own_inner(parent);
  ImageSlot* slot = inner.slots();
  while ((*slot)->schema() != schema) ++slot;
  return slot;
}

ImageSlot* ImageDraft::put(ImageSlot& parent, ImageSlot node) {
  if (ImageSlot* const slot = child(parent, node->schema())) {
    *slot = std::move(node);
    return slot;
  }
  const ImageInner& old = parent->inner();
  const std::uint32_t number = schema_number(node->schema());
  const auto children = old.children();
  const auto place = std::find_if(children.begin(), children.end(), [number](const auto& other) {
    return schema_number(other->schema()) > number;
  });
  const auto at = place - children.begin();
  std::vector<ImageSlot> grown;
  grown.reserve(children.size() + 1);
  grown.assign(children.begin(), place);
  grown.push_back(std::move(node));
  grown.insert(grown.end(), place, children.end());
  parent = ImageInner::make(old.schema(), old.is_default(), std::move(grown));
  return const_cast<ImageInner&>(parent->inner()).slots() + at;
}

void ImageDraft::remove(ImageSlot& parent, const lysc_node* schema) {
  const ImageInner& old = parent->inner();
  if (old.find(schema) == nullptr) return;
  std::vector<ImageSlot> left;
  left.reserve(old.children().size() - 1);
  for (const ImageSlot& slot : old.children()) {
    if (slot->schema() != schema) left.push_back(slot);
  }
  parent = ImageInner::make(old.schema(), old.is_default(), std::move(left));
}

void ImageDraft::set_default(ImageSlot& node, bool is_default) {
  if (node->is_default() == is_default) return;
  if (node->kind() == ImageKind::kLeaf) {
    node = ImageLeaf::make(node->schema(), node->leaf().text(), node->leaf().form(), is_default);
  } else {
    own_inner(node).is_default_ = is_default;
  }
}

ImageSlot* ImageDraft::entry(ImageSlot& group, std::string_view key) {
  if (group->group().find(key) == nullptr) return nullptr;
  return &trie_own_entry(own_group(group).root_, key).node;
}

void ImageDraft::put_entry(ImageSlot& group, ImageSlot node, std::uint64_t order) {
  ImageGroup& own = own_group(group);
  if (order == 0 && !lysc_is_dup_inst_list(own.schema())) {
    if (const GroupEntry* const old = own.find(image_key(*node))) order = old->order;
  }
  if (order == 0) order = own.next_order_;
  own.next_order_ = std::max(own.next_order_, order + 1);
  GroupEntry entry{std::move(node), order};
  const OrderIndex::Place its_place =
      lysc_is_userordered(own.schema()) ? trie_place(entry) : OrderIndex::Place();
  std::uint64_t replaced = 0;
  trie_put(own.root_, std::move(entry), replaced);
  if (replaced == 0) ++own.count_;
  if (lysc_is_userordered(own.schema())) place(own, its_place, replaced);
}

// Brings the index of orders in step with an entry that was put in.
void ImageDraft::place(ImageGroup& group, const OrderIndex::Place& place, std::uint64_t replaced) {
  if (!group.orders_.empty()) {
    if (replaced == place.order) return;
    if (replaced != 0) group.orders_.remove(replaced);
    return group.orders_.put(place);
  }
  if (group.count_ <= kFewEntries) return;
  group.each([&group](const GroupEntry& entry) { group.orders_.put(trie_place(entry)); });
}

bool ImageDraft::remove_entry(ImageSlot& group, std::string_view key) {
  const GroupEntry* const found = group->group().find(key);
  if (found == nullptr) return false;
  const GroupEntry like = *found;
  ImageGroup& own = own_group(group);
  trie_remove(own.root_, like);
  --own.count_;
  if (!own.orders_.empty()) own.orders_.remove(like.order);
  return true;
}

}  // namespace nexa::store
