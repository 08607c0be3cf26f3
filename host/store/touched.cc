// A touched node's `priv` tells whether all below it counts, and which edit touched it last.
#include "store/touched.h"

#include <string>
#include <vector>

#include "store/node_tools.h"
#include "store/validation/violation_text.h"

namespace nexa::host {
namespace {

constexpr std::uintptr_t kWhole = 1;

bool is_whole(const lyd_node* node) {
  return (reinterpret_cast<std::uintptr_t>(node->priv) & kWhole) != 0;
}

// Edits count from -1, a mark from 1.
void set_mark(lyd_node* node, int edit) {
  node->priv =
      reinterpret_cast<void*>((static_cast<std::uintptr_t>(edit + 1) << 1) | kWhole);  // NOLINT
}

int edit_of(const lyd_node* node) {
  return static_cast<int>(reinterpret_cast<std::uintptr_t>(node->priv) >> 1) - 1;
}

const lyd_node* children_of(const lyd_node* top, const lyd_node* parent) {
  return parent != nullptr ? first_child(parent) : top;
}

void mark_operations(Touched& touched, const lyd_node* first, std::string_view inherited) {
  for (const lyd_node* node = first; node != nullptr; node = node->next) {
    const std::string_view operation = diff_operation(node, inherited);
    const bool inner = (node->schema->nodetype & LYD_NODE_INNER) != 0;
    if (operation == "none" && inner) {
      mark_operations(touched, first_child(node), operation);
    } else if (!is_key(node)) {
      touched.mark(node);
      if (is_user_ordered(node->schema)) touched.mark_order(node);
    }
  }
}

}  // namespace

std::string_view diff_operation(const lyd_node* node, std::string_view inherited) {
  for (const lyd_meta* meta = node->meta; meta != nullptr; meta = meta->next) {
    if (std::string_view(meta->name) == "operation") return lyd_get_meta_value(meta);
  }
  return inherited;
}

lyd_node* Touched::place(const lyd_node* node) {
  std::vector<const lyd_node*> chain;
  for (; node != nullptr; node = lyd_parent(node)) chain.push_back(node);
  lyd_node* parent = nullptr;
  for (auto link = chain.rbegin(); link != chain.rend(); ++link) {
    lyd_node* found = find_match(children_of(tree_.get(), parent), *link);
    if (found == nullptr) {
      if (lyd_dup_single(*link, nullptr, LYD_DUP_NO_META, &found) != LY_SUCCESS) {
        throw std::bad_alloc();
      }
      found->priv = nullptr;
      lyd_node* top = tree_.release();
      const bool linked = insert_node(top, parent, found);
      tree_.reset(top);
      if (!linked) throw std::bad_alloc();
    }
    parent = found;
    if (is_whole(found)) break;
  }
  return parent;
}

void Touched::mark(const lyd_node* node) { set_mark(place(node), edit_); }

void Touched::mark_order(const lyd_node* node) {
  const lyd_node* const parent = lyd_parent(node) != nullptr ? place(lyd_parent(node)) : nullptr;
  if (parent != nullptr && is_whole(parent)) return;
  orders_.emplace(parent, node->schema);
}

void Touched::mark_diff(const lyd_node* diff) { mark_operations(*this, diff, "none"); }

bool Touched::order_touched(const lyd_node* parent, const lysc_node* schema) const {
  return orders_.count(Order(parent, schema)) != 0;
}

// Builds the sparse copy of one tree.
struct Touched::Copy {
  const Touched& touched;
  lyd_node* top = nullptr;

  void add(const lyd_node* source, const lyd_node* mark, lyd_node* parent) {
    const bool whole = mark != nullptr && is_whole(mark);
    lyd_node* copy = nullptr;
    if (lyd_dup_single(source, nullptr,
                       LYD_DUP_NO_META | LYD_DUP_WITH_FLAGS | (whole ? LYD_DUP_RECURSIVE : 0U),
                       &copy) != LY_SUCCESS) {
      throw std::bad_alloc();
    }
    const std::uint32_t flags = source->flags;
    if (!insert_node(top, parent, copy)) throw std::bad_alloc();
    if (!whole && mark != nullptr) {
      add_children(first_child(source), first_child(mark), mark, copy);
    }
    copy->flags = flags;
    // What is not copied keeps the container in being.
    static char more;
    copy->priv =
        !whole && is_plain_container(source) && has_explicit_content(source) ? &more : nullptr;
  }

  void add_children(const lyd_node* source, const lyd_node* marks, const lyd_node* mark_parent,
                    lyd_node* parent) {
    for (auto order = touched.orders_.lower_bound(Order(mark_parent, nullptr));
         order != touched.orders_.end() && order->first == mark_parent; ++order) {
      for (const lyd_node* node = source; node != nullptr; node = node->next) {
        if (node->schema == order->second) add(node, find_match(marks, node), parent);
      }
    }
    for (const lyd_node* mark = marks; mark != nullptr; mark = mark->next) {
      if (is_key(mark) || touched.order_touched(mark_parent, mark->schema)) continue;
      const lyd_node* const node = find_match(source, mark);
      if (node != nullptr) add(node, mark, parent);
    }
  }
};

TreePtr Touched::copy_from(const lyd_node* source) const {
  Copy copy{*this};
  try {
    copy.add_children(source, tree_.get(), nullptr, nullptr);
  } catch (...) {
    lyd_free_all(copy.top);
    throw;
  }
  return TreePtr(copy.top);
}

// Makes parts of one tree equal to parts of another.
struct Touched::Equal {
  const Touched& touched;
  const lyd_node* source_top;
  lyd_node*& top;

  void insert_copy(const lyd_node* source, lyd_node* parent) {
    lyd_node* const copy = copy_subtree(source);
    if (copy == nullptr || !insert_node(top, parent, copy)) throw std::bad_alloc();
  }

  // The instances of a user-ordered schema node: the same, in the same order.
  void order(const lyd_node* source, const lysc_node* schema, lyd_node* parent) {
    std::vector<lyd_node*> extra;
    for (lyd_node* node = const_cast<lyd_node*>(children_of(top, parent)); node != nullptr;
         node = node->next) {
      if (node->schema == schema && find_match(source, node) == nullptr) extra.push_back(node);
    }
    for (lyd_node* const node : extra) remove_node(top, node);
    for (const lyd_node* node = source; node != nullptr; node = node->next) {
      if (node->schema != schema) continue;
      lyd_node* const match = find_match(children_of(top, parent), node);
      if (match == nullptr) {
        insert_copy(node, parent);
      } else {
        move_last(top, match);
      }
    }
  }

  void overwrite(const lyd_node* source, lyd_node* target) {
    if ((source->schema->nodetype & LYD_NODE_INNER) == 0) {
      if (lyd_compare_single(source, target, 0) != LY_SUCCESS) {
        lyd_node* const parent = lyd_parent(target);
        remove_node(top, target);
        insert_copy(source, parent);
      } else {
        target->flags = source->flags;
      }
      return;
    }
    for (lyd_node* child = first_child(target); child != nullptr;) {
      lyd_node* const next = child->next;
      if (find_match(first_child(source), child) == nullptr) remove_node(top, child);
      child = next;
    }
    const lysc_node* ordered = nullptr;
    for (const lyd_node* child = first_child(source); child != nullptr; child = child->next) {
      lyd_node* const match = find_match(first_child(target), child);
      if (match == nullptr) {
        insert_copy(child, target);
      } else {
        overwrite(child, match);
      }
      if (is_user_ordered(child->schema) && child->schema != ordered) {
        ordered = child->schema;
        order(first_child(source), ordered, target);
      }
    }
    target->flags = source->flags;
  }

  void children(const lyd_node* source, const lyd_node* marks, const lyd_node* mark_parent,
                lyd_node* parent) {
    for (const lyd_node* mark = marks; mark != nullptr; mark = mark->next) {
      if (is_key(mark)) continue;
      const lyd_node* const node = find_match(source, mark);
      lyd_node* const match = find_match(children_of(top, parent), mark);
      if (node == nullptr) {
        if (match != nullptr) remove_node(top, match);
      } else if (match == nullptr) {
        insert_copy(node, parent);
      } else if (is_whole(mark)) {
        overwrite(node, match);
      } else {
        children(first_child(node), first_child(mark), mark, match);
        match->flags = node->flags;
      }
    }
    for (auto place = touched.orders_.lower_bound(Order(mark_parent, nullptr));
         place != touched.orders_.end() && place->first == mark_parent; ++place) {
      order(source, place->second, parent);
    }
  }
};

bool Touched::make_equal(const lyd_node* source, lyd_node*& target) const {
  Equal equal{*this, source, target};
  try {
    equal.children(source, tree_.get(), nullptr, nullptr);
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}

namespace {

void settle_marked(const lyd_node* source, const lyd_node* marks) {
  for (const lyd_node* mark = marks; mark != nullptr; mark = mark->next) {
    const lyd_node* const node = find_match(source, mark);
    if (node == nullptr) continue;
    if (is_whole(mark)) {
      settle_values(node);
    } else {
      settle_marked(first_child(node), first_child(mark));
    }
  }
}

bool is_below(std::string_view path, std::string_view above) {
  return path.size() > above.size() && path.substr(0, above.size()) == above &&
         path[above.size()] == '/';
}

}  // namespace

void Touched::settle(const lyd_node* tree) const { settle_marked(tree, tree_.get()); }

// Looks for the deepest touched node on the way to the one at fault, else for those below it.
struct Touched::Blame {
  std::string_view path;
  int on_the_way = -1;
  int below = -1;
  bool several_below = false;

  void look(const lyd_node* first) {
    for (const lyd_node* node = first; node != nullptr; node = node->next) {
      const std::string own = instance_path(node);
      if (is_whole(node)) {
        if (own == path || is_below(path, own)) {
          on_the_way = edit_of(node);
        } else if (is_below(own, path)) {
          several_below = several_below || (below >= 0 && below != edit_of(node));
          below = edit_of(node);
        }
      }
      if (own == path || is_below(path, own) || is_below(own, path)) look(first_child(node));
    }
  }
};

int Touched::edit_at(std::string_view path) const {
  if (path.empty()) return -1;
  Blame blame{path};
  blame.look(tree_.get());
  if (blame.on_the_way >= 0) return blame.on_the_way;
  return blame.several_below ? -1 : blame.below;
}

}  // namespace nexa::host
