// All entries of one list or leaf-list below one parent: in their order, and found by key. Up to 16
// entries lie in one array; more of them in a trie over the hash of the key, so that a change
// copies a few arrays whatever the number of entries is. Where the user orders that many, an index
// of their orders stands beside the trie.
#ifndef HOST_STORE_IMAGE_IMAGE_GROUP_H_
#define HOST_STORE_IMAGE_IMAGE_GROUP_H_

#include <cstddef>
#include <functional>

#include "store/image/image.h"
#include "store/image/order_index.h"

namespace nexa::store {

// One entry with its place: entries with smaller orders come first.
struct GroupEntry {
  ImageSlot node;
  std::uint64_t order = 0;
};

class GroupTrie;

class ImageGroup final : public ImageNode {
 public:
  std::size_t size() const { return count_; }

  // `key` as image_key() makes it. Null when there is none. Where equal instances may stand side by
  // side (operational data alone): any of them.
  const GroupEntry* find(std::string_view key) const;

  // All entries in their order. Costs n log n above 16 entries.
  std::vector<const GroupEntry*> in_order() const;

  // The entry in front of all others whose order is smaller: the last one of them. Null when there
  // is none. Of a list that the user orders it costs log n.
  const GroupEntry* before(std::uint64_t order) const;

  // All entries in any order.
  void each(const std::function<void(const GroupEntry&)>& visit) const;

  // Calls `visit` with what differs: (entry of this, null), (null, entry of other), or both where
  // the node or its order is another. Shared parts cost nothing.
  void each_difference(
      const ImageGroup& other,
      const std::function<void(const GroupEntry* mine, const GroupEntry* others)>& visit) const;

  // The order that an entry gets that is put behind all others.
  std::uint64_t next_order() const { return next_order_; }

  static ImageRef<ImageGroup> make(const lysc_node* schema);

 private:
  friend class ImageNode;
  friend struct ImageDraft;
  explicit ImageGroup(const lysc_node* schema) : ImageNode(ImageKind::kGroup, false, schema) {}
  ~ImageGroup();

  const GroupTrie* root_ = nullptr;  // owns one reference
  OrderIndex orders_;                // of all entries, or empty: too few, or not the user's order
  std::size_t count_ = 0;
  std::uint64_t next_order_ = 1;
};

// What a group knows an entry by: the texts of its keys, a null character between them; of a
// leaf-list entry its value.
std::string image_key(const ImageNode& entry);

inline const ImageGroup& ImageNode::group() const { return static_cast<const ImageGroup&>(*this); }

}  // namespace nexa::store

#endif  // HOST_STORE_IMAGE_IMAGE_GROUP_H_
