// libyang takes what is linked for explicit, and the containers above with it, so each container is
// given the flag that the image says when all below it is done.
#include "store/workspace.h"

#include <algorithm>
#include <new>
#include <unordered_set>

#include "store/child_table.h"
#include "store/image/image_difference.h"
#include "store/image/image_draft.h"
#include "store/image/image_import.h"
#include "store/node_tools.h"

namespace nexa::store {
namespace {

constexpr std::uint32_t kDefaultFlag = LYD_DEFAULT;

void set_default_flag(lyd_node* node, bool is_default) {
  node->flags = (node->flags & ~kDefaultFlag) | (is_default ? kDefaultFlag : 0U);
}

// The instance after `node` that the user ordered behind it.
lyd_node* next_writable_instance(const lyd_node* node) {
  return node->next != nullptr && node->next->schema == node->schema ? node->next : nullptr;
}

class Step {
 public:
  Step(lyd_node*& top, TreeChanges& changes, const PlaceMatters& place_matters)
      : top_(top), changes_(changes), place_matters_(place_matters) {}

  void children(const ImageInner& before, const ImageInner& after, lyd_node* parent) {
    std::vector<NodeDifference> out_of_order;
    each_child_difference(&before, &after, [&](const NodeDifference& node) {
      if (!difference(node, before, parent)) out_of_order.push_back(node);
    });
    make_order(out_of_order, after, parent);
  }

 private:
  // False when the node is one that the user orders and may stand in the wrong place now.
  bool difference(const NodeDifference& node, const ImageInner& before, lyd_node* parent) {
    if (node.after == nullptr) {
      remove(find(*node.before, parent), parent);
      return true;
    }
    const bool is_ordered = lysc_is_userordered(node.after->schema());
    if (node.before == nullptr) {
      create(*node.after, parent);
      const ImageNode* const group = is_ordered ? before.find(node.after->schema()) : nullptr;
      return group == nullptr || node.order_after >= group->group().next_order();
    }
    const bool is_moved = node.order_before != node.order_after;
    if (node.before != node.after) change(*node.before, *node.after, find(*node.after, parent));
    if (is_moved && !is_ordered && place_matters_(node.after->schema())) {
      note_place(find(*node.after, parent));
    }
    return !is_moved || !is_ordered;
  }

  lyd_node* find(const ImageNode& node, lyd_node* parent) const {
    lyd_node* const found = find_in_tree(top_, parent, node);
    // The tree and the image differ: nothing can be said about the tree any more.
    if (found == nullptr) throw std::bad_alloc();
    return found;
  }

  void create(const ImageNode& node, lyd_node* parent) {
    TreeChange change;
    change.node = link_image(top_, parent, node, false);
    change.parent = parent;
    changes_.push_back(std::move(change));
  }

  void remove(lyd_node* node, lyd_node* parent) {
    TreeChange change;
    change.kind = TreeChange::Kind::kDeleted;
    change.node = node;
    change.parent = parent;
    if (lysc_is_userordered(node->schema)) change.old_next = next_writable_instance(node);
    if (node == top_) top_ = node->next;
    lyd_unlink_tree(node);
    change.subtree.reset(node);
    changes_.push_back(std::move(change));
  }

  void change(const ImageNode& before, const ImageNode& after, lyd_node* node) {
    if (after.kind() == ImageKind::kAny) {
      lyd_node* const parent = lyd_parent(node);
      remove(node, parent);
      return create(after, parent);
    }
    if (after.kind() == ImageKind::kLeaf) return change_leaf(before.leaf(), after.leaf(), node);
    if (before.is_default() != after.is_default()) flag(node, after.is_default());
    children(before.inner(), after.inner(), node);
    set_default_flag(node, after.is_default());
  }

  void change_leaf(const ImageLeaf& before, const ImageLeaf& after, lyd_node* leaf) {
    if (before.text() == after.text()) {
      if (before.is_default() != after.is_default()) flag(leaf, after.is_default());
      return;
    }
    TreeChange change;
    change.kind = TreeChange::Kind::kValue;
    change.node = leaf;
    change.parent = lyd_parent(leaf);
    change.old_flags = leaf->flags;
    change.old_value = before.text();
    const LY_ERR done = change_canonical_term(leaf, after.text().data());
    if (done != LY_SUCCESS && done != LY_EEXIST && done != LY_ENOT) throw std::bad_alloc();
    set_default_flag(leaf, after.is_default());
    changes_.push_back(std::move(change));
  }

  void flag(lyd_node* node, bool is_default) {
    TreeChange change;
    change.kind = TreeChange::Kind::kFlag;
    change.node = node;
    change.parent = lyd_parent(node);
    change.old_flags = node->flags;
    set_default_flag(node, is_default);
    changes_.push_back(std::move(change));
  }

  // Puts each of these behind the one that it follows. All others stand in their order, and those
  // that were put in place before have smaller orders.
  void make_order(std::vector<NodeDifference>& nodes, const ImageInner& after, lyd_node* parent) {
    std::sort(nodes.begin(), nodes.end(), [](const auto& left, const auto& right) {
      const std::uint32_t one_list = schema_number(left.after->schema());
      const std::uint32_t other = schema_number(right.after->schema());
      return one_list != other ? one_list < other : left.order_after < right.order_after;
    });
    for (const NodeDifference& moved : nodes) {
      const ImageGroup& group = after.find(moved.after->schema())->group();
      const GroupEntry* const anchor = group.before(moved.order_after);
      lyd_node* const node = find(*moved.after, parent);
      lyd_node* const before = anchor != nullptr ? find(*anchor->node, parent) : nullptr;
      lyd_node* const standing =
          before != nullptr ? next_writable_instance(before) : first_of(node);
      if (standing == node) continue;
      if (standing != nullptr) {
        move(node, standing, lyd_insert_before);
      } else if (before != nullptr) {
        move(node, before, lyd_insert_after);
      }
    }
  }

  // An entry that went and came again in one Set. Its node in this tree stays where it is: what
  // looks at the order is judged over a tree made of the image.
  void note_place(lyd_node* node) {
    TreeChange change;
    change.kind = TreeChange::Kind::kMoved;
    change.node = node;
    change.parent = lyd_parent(node);
    changes_.push_back(std::move(change));
  }

  static lyd_node* first_of(lyd_node* node) {
    while (node->prev->next != nullptr && node->prev->schema == node->schema) node = node->prev;
    return node;
  }

  void move(lyd_node* node, lyd_node* beside, LY_ERR (*insert)(lyd_node*, lyd_node*)) {
    TreeChange change;
    change.kind = TreeChange::Kind::kMoved;
    change.node = node;
    change.parent = lyd_parent(node);
    change.old_next = next_writable_instance(node);
    if (node == top_) top_ = node->next;
    make_room(change.parent);
    if (insert(beside, node) != LY_SUCCESS) throw std::bad_alloc();
    if (change.parent == nullptr) top_ = lyd_first_sibling(top_);
    changes_.push_back(std::move(change));
  }

  lyd_node*& top_;
  TreeChanges& changes_;
  const PlaceMatters& place_matters_;
};

// The slots on the way from the root to a node of the tree.
ImageSlot* slot_of(const lyd_node* node, ImageSlot& root) {
  if (node == nullptr) return &root;
  ImageSlot* const parent = slot_of(lyd_parent(node), root);
  ImageSlot* slot = parent != nullptr ? ImageDraft::child(*parent, node->schema) : nullptr;
  if (slot != nullptr && (node->schema->nodetype & (LYS_LIST | LYS_LEAFLIST)) != 0) {
    slot = ImageDraft::entry(*slot, tree_key(node));
  }
  return slot;
}

void put_instance(ImageSlot& parent, const lyd_node* node) {
  ImageSlot made = image_of_node(node);
  if ((node->schema->nodetype & (LYS_LIST | LYS_LEAFLIST)) == 0) {
    ImageDraft::put(parent, std::move(made));
    return;
  }
  ImageSlot* group = ImageDraft::child(parent, node->schema);
  if (group == nullptr) group = ImageDraft::put(parent, ImageGroup::make(node->schema));
  ImageDraft::put_entry(*group, std::move(made));
}

void remove_instance(ImageSlot& parent, const lyd_node* node) {
  if ((node->schema->nodetype & (LYS_LIST | LYS_LEAFLIST)) == 0) {
    return ImageDraft::remove(parent, node->schema);
  }
  ImageSlot* const group = ImageDraft::child(parent, node->schema);
  if (group == nullptr) return;
  ImageDraft::remove_entry(*group, tree_key(node));
  if ((*group)->group().size() == 0) ImageDraft::remove(parent, node->schema);
}

const lyd_node* root_of(const lyd_node* node) {
  while (lyd_parent(node) != nullptr) node = lyd_parent(node);
  return node;
}

// Shares what is the same with an image of the explicit nodes.
class Judged {
 public:
  explicit Judged(const PlaceMatters& place_matters) : place_matters_(place_matters) {}

  ImageSlot node(const lyd_node* tree, const ImageNode* like) const {
    if (like == nullptr) return image_of_node(tree);
    switch (like->kind()) {
      case ImageKind::kLeaf: {
        const bool is_default = (tree->flags & LYD_DEFAULT) != 0;
        const bool is_same =
            like->is_default() == is_default && like->leaf().text() == lyd_get_value(tree);
        return is_same ? ImageSlot::share(like) : ImageSlot(ImageLeaf::make(tree));
      }
      case ImageKind::kAny: {
        ImageRef<ImageAny> made = ImageAny::make(tree);
        return made->xml() == like->any().xml() ? ImageSlot::share(like)
                                                : ImageSlot(std::move(made));
      }
      case ImageKind::kInner: {
        const lysc_node* const schema = tree->schema;
        const bool is_default =
            schema->nodetype == LYS_CONTAINER && (tree->flags & LYD_DEFAULT) != 0;
        std::vector<ImageSlot> made = children(lyd_child(tree), like->inner());
        const auto old = like->inner().children();
        const bool is_same =
            like->is_default() == is_default &&
            std::equal(made.begin(), made.end(), old.begin(), old.end(),
                       [](const auto& one, const auto& two) { return one.get() == two.get(); });
        if (is_same) return ImageSlot::share(like);
        return ImageInner::make(schema, is_default, std::move(made));
      }
      case ImageKind::kGroup:
        break;
    }
    return nullptr;
  }

  std::vector<ImageSlot> children(const lyd_node* first, const ImageInner& like) const {
    std::vector<ImageSlot> made;
    const auto others = like.children();
    std::size_t at = 0;
    std::uint32_t last = 0;
    for (const lyd_node* tree = first; tree != nullptr;) {
      // Both sides are ordered by the schema, except for the modules at the top level.
      const std::uint32_t number = schema_number(tree->schema);
      if (number < last) at = 0;
      last = number;
      while (at < others.size() && schema_number(others[at]->schema()) < number) ++at;
      const bool is_there = at < others.size() && others[at]->schema() == tree->schema;
      const ImageNode* const old = is_there ? others[at].get() : nullptr;
      if ((tree->schema->nodetype & (LYS_LIST | LYS_LEAFLIST)) != 0) {
        made.push_back(group(tree, old));
      } else {
        made.push_back(node(tree, old));
        tree = tree->next;
      }
    }
    return made;
  }

 private:
  // New entries, whose order is 0, stand behind the others.
  static bool is_ascending(const std::vector<std::uint64_t>& orders) {
    const auto first_new = std::find(orders.begin(), orders.end(), 0U);
    return std::is_sorted(orders.begin(), first_new) &&
           std::all_of(first_new, orders.end(), [](std::uint64_t order) { return order == 0; });
  }

  ImageSlot group(const lyd_node*& tree, const ImageNode* like) const {
    const lysc_node* const schema = tree->schema;
    if (like == nullptr) {
      ImageSlot made = ImageGroup::make(schema);
      for (; tree != nullptr && tree->schema == schema; tree = tree->next) {
        ImageDraft::put_entry(made, image_of_node(tree), made->group().next_order());
      }
      return made;
    }
    std::vector<ImageSlot> entries;
    bool is_same = true;
    std::size_t standing = 0;
    std::vector<std::uint64_t> orders;
    for (; tree != nullptr && tree->schema == schema; tree = tree->next) {
      const GroupEntry* const old = like->group().find(tree_key(tree));
      entries.push_back(node(tree, old != nullptr ? old->node.get() : nullptr));
      orders.push_back(old != nullptr ? old->order : 0);
      standing += old != nullptr ? 1 : 0;
      is_same = is_same && old != nullptr && entries.back().get() == old->node.get();
    }
    const bool has_order = lysc_is_userordered(schema) || place_matters_(schema);
    const bool in_order = !has_order || is_ascending(orders);
    if (is_same && in_order && entries.size() == like->group().size()) {
      return ImageSlot::share(like);
    }
    if (!in_order) {
      std::uint64_t next = like->group().next_order();
      for (std::uint64_t& order : orders) order = next++;
    }
    const bool lost = standing < like->group().size();
    ImageSlot made = lost ? ImageSlot(ImageGroup::make(schema)) : ImageSlot::share(like);
    for (std::size_t i = 0; i < entries.size(); ++i) {
      ImageDraft::put_entry(made, std::move(entries[i]), orders[i]);
    }
    return made;
  }

  const PlaceMatters& place_matters_;
};

}  // namespace

void bring_in_step(const ImageInner& before, const ImageInner& after, lyd_node*& top,
                   TreeChanges& changes, const PlaceMatters& place_matters) {
  Step(top, changes, place_matters).children(before, after, nullptr);
}

void take_over(const TreeChanges& changes, std::size_t first, ImagePtr& image) {
  std::unordered_set<const lyd_node*> gone;
  for (std::size_t i = first; i < changes.size(); ++i) {
    if (changes[i].kind == TreeChange::Kind::kDeleted) gone.insert(changes[i].node);
  }
  ImageSlot root = std::move(image);
  for (std::size_t i = first; i < changes.size(); ++i) {
    const TreeChange& change = changes[i];
    const bool is_deleted = change.kind == TreeChange::Kind::kDeleted;
    // What went with a parent is not in the image any more, or goes with it later.
    const lyd_node* const anchor = is_deleted ? change.parent : change.node;
    if (anchor != nullptr && !gone.empty() && gone.count(root_of(anchor)) != 0) continue;
    ImageSlot* const parent = slot_of(is_deleted ? change.parent : lyd_parent(change.node), root);
    if (parent == nullptr) throw std::bad_alloc();
    switch (change.kind) {
      case TreeChange::Kind::kCreated:
        put_instance(*parent, change.node);
        break;
      case TreeChange::Kind::kDeleted:
        remove_instance(*parent, change.node);
        break;
      case TreeChange::Kind::kValue:
      case TreeChange::Kind::kFlag:
        if (ImageSlot* const slot = slot_of(change.node, root)) {
          if (change.kind == TreeChange::Kind::kValue) {
            *slot = image_of_node(change.node);
          } else {
            ImageDraft::set_default(*slot, (change.node->flags & LYD_DEFAULT) != 0);
          }
        }
        break;
      case TreeChange::Kind::kMoved:
        break;
    }
  }
  image = ImagePtr::share(&root->inner());
}

ImagePtr judged_image(const lyd_node* top, const ImageInner& like,
                      const PlaceMatters& place_matters) {
  std::vector<ImageSlot> children = Judged(place_matters).children(top, like);
  std::stable_sort(children.begin(), children.end(), [](const auto& left, const auto& right) {
    return schema_number(left->schema()) < schema_number(right->schema());
  });
  ImagePtr made = ImageInner::make(nullptr, false, std::move(children));
  return made;
}

}  // namespace nexa::store
