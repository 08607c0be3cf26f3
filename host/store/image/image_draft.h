// A tree that is being made from another one. Nodes that the draft shares with published trees are
// copied when they are changed first, and changed in place afterwards.
#ifndef HOST_STORE_IMAGE_IMAGE_DRAFT_H_
#define HOST_STORE_IMAGE_IMAGE_DRAFT_H_

#include "store/image/image.h"

namespace nexa::store {

// A slot belongs to the draft when the way to it from the root was asked for through these
// functions; each takes the slot of the parent and may put another node in it. A returned pointer
// is good until the parent's children come or go.
struct ImageDraft {
  // The child's slot, null when there is none. The parent is the draft's own afterwards.
  static ImageSlot* child(ImageSlot& parent, const lysc_node* schema);
  // Puts `node` in as the child of its schema node, in the place of one that is there.
  static ImageSlot* put(ImageSlot& parent, ImageSlot node);
  static void remove(ImageSlot& parent, const lysc_node* schema);
  static void set_default(ImageSlot& node, bool is_default);

  // The entry's slot, null when there is none.
  static ImageSlot* entry(ImageSlot& group, std::string_view key);
  // Puts an entry in at the place `order` (0: behind all others, or where one of this key stands).
  static void put_entry(ImageSlot& group, ImageSlot node, std::uint64_t order = 0);
  static bool remove_entry(ImageSlot& group, std::string_view key);

 private:
  static ImageInner& own_inner(ImageSlot& slot);
  static ImageGroup& own_group(ImageSlot& slot);
  static void place(ImageGroup& group, const OrderIndex::Place& place, std::uint64_t replaced);
};

}  // namespace nexa::store

#endif  // HOST_STORE_IMAGE_IMAGE_DRAFT_H_
