// libyang keeps the instances of one schema node together, and siblings in the order of the schema;
// modules at the top level stand in the order in which they came.
#include "store/image/image_import.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>

#include "store/child_table.h"
#include "store/image/image_draft.h"
#include "store/image/schema_texts.h"
#include "store/image/union_value.h"
#include "store/node_tools.h"

namespace nexa::store {
namespace {

bool is_key_leaf(const ImageSlot& child) {
  return child->kind() == ImageKind::kLeaf && lysc_is_key(child->schema());
}

ImageSlot group_of(const lyd_node*& node) {
  const lysc_node* const schema = node->schema;
  ImageSlot group = ImageGroup::make(schema);
  for (; node != nullptr && node->schema == schema; node = node->next) {
    ImageDraft::put_entry(group, image_of_node(node), group->group().next_order());
  }
  return group;
}

// The entries of a list or leaf-list count as one.
std::size_t count_children(const lyd_node* first) {
  std::size_t count = 0;
  const lysc_node* last = nullptr;
  for (const lyd_node* node = first; node != nullptr; node = node->next) {
    if (node->schema != last) ++count;
    last = node->schema;
  }
  return count;
}

std::vector<ImageSlot> children_of(const lyd_node* first) {
  std::vector<ImageSlot> children;
  children.reserve(count_children(first));
  for (const lyd_node* node = first; node != nullptr;) {
    if (node->schema == nullptr) {
      node = node->next;
    } else if (is_many(node->schema)) {
      children.push_back(group_of(node));
    } else {
      children.push_back(image_of_node(node));
      node = node->next;
    }
  }
  return children;
}

[[noreturn]] void out_of_memory() { throw std::bad_alloc(); }

lyd_node* new_entry(lyd_node* parent, const ImageInner& entry) {
  std::array<const char*, kMostKeys> keys{};
  std::size_t count = 0;
  for (const ImageSlot& child : entry.children()) {
    if (!is_key_leaf(child)) break;
    if (count == kMostKeys) out_of_memory();
    keys[count++] = child->leaf().text().data();
  }
  lyd_node* made = nullptr;
  const LY_ERR done = new_list_entry(parent, entry.schema(), {keys.data(), count}, &made);
  if (done != LY_SUCCESS) out_of_memory();
  lyd_node* key = lyd_child(made);
  for (const ImageSlot& child : entry.children()) {
    if (!is_key_leaf(child)) break;
    keep_text(key, child->leaf().text().data());
    key = key->next;
  }
  return made;
}

lyd_node* new_node(lyd_node* parent, const ImageNode& node) {
  make_room(parent);
  const lysc_node* const schema = node.schema();
  lyd_node* made = nullptr;
  if (node.kind() == ImageKind::kLeaf) {
    if (new_canonical_term(parent, schema, node.leaf().text().data(), &made) != LY_SUCCESS) {
      out_of_memory();
    }
  } else if (schema->nodetype == LYS_LIST) {
    return new_entry(parent, node.inner());
  } else if (lyd_new_inner(parent, schema->module, schema->name, 0, &made) != LY_SUCCESS) {
    out_of_memory();
  }
  return made;
}

lyd_node* new_any(lyd_node* parent, const ImageAny& any) {
  lyd_node* copy = nullptr;
  if (lyd_dup_single(any.node(), nullptr, 0, &copy) != LY_SUCCESS) out_of_memory();
  make_room(parent);
  if (parent != nullptr && lyd_insert_child(parent, copy) != LY_SUCCESS) {
    lyd_free_tree(copy);
    out_of_memory();
  }
  return copy;
}

}  // namespace

ImageSlot image_of_node(const lyd_node* node) {
  const lysc_node* const schema = node->schema;
  if ((schema->nodetype & LYD_NODE_TERM) != 0) return ImageLeaf::make(node);
  if ((schema->nodetype & LYD_NODE_ANY) != 0) return ImageAny::make(node);
  const bool is_default = schema->nodetype == LYS_CONTAINER && (node->flags & LYD_DEFAULT) != 0;
  return ImageInner::make(schema, is_default, children_of(lyd_child(node)));
}

ImagePtr image_of_tree(const lyd_node* first) {
  std::vector<ImageSlot> children = children_of(first);
  std::stable_sort(children.begin(), children.end(), [](const auto& left, const auto& right) {
    return schema_number(left->schema()) < schema_number(right->schema());
  });
  return ImageInner::make(nullptr, false, std::move(children));
}

lyd_node* link_image(lyd_node*& top, lyd_node* parent, const ImageNode& node, bool explicit_only) {
  if (node.kind() == ImageKind::kGroup) {
    for (const GroupEntry* const entry : node.group().in_order()) {
      link_image(top, parent, *entry->node, explicit_only);
    }
    return nullptr;
  }
  if (explicit_only && node.is_default()) return nullptr;
  lyd_node* const made =
      node.kind() == ImageKind::kAny ? new_any(parent, node.any()) : new_node(parent, node);
  if (parent == nullptr && lyd_insert_sibling(top, made, &top) != LY_SUCCESS) {
    lyd_free_tree(made);
    out_of_memory();
  }
  if (node.kind() == ImageKind::kInner) {
    for (const ImageSlot& child : node.inner().children()) {
      if (!is_key_leaf(child)) link_image(top, made, *child, explicit_only);
    }
  }
  made->flags &= ~static_cast<std::uint32_t>(LYD_DEFAULT);
  if (node.is_default()) made->flags |= LYD_DEFAULT;
  return made;
}

TreePtr tree_of_image(const ImageInner& root, bool explicit_only) {
  lyd_node* top = nullptr;
  try {
    for (const ImageSlot& child : root.children()) link_image(top, nullptr, *child, explicit_only);
  } catch (...) {
    lyd_free_all(top);
    throw;
  }
  return TreePtr(top);
}

TreePtr any_of_xml(const lysc_node* schema, const std::string& xml) {
  // libyang reads a nested element only below a parent. Its keys and ancestors do not matter, so a
  // bare node of the right schema node is enough.
  lyd_node_inner above{};
  above.schema = lysc_data_parent(schema);
  above.prev = &above.node;
  ly_in* input = nullptr;
  std::string storage;
  const std::string readable(readable_marks(xml, storage));
  if (ly_in_new_memory(readable.c_str(), &input) != LY_SUCCESS) return nullptr;
  lyd_node* parsed = nullptr;
  lyd_parse_data(kestrel::context(), above.schema != nullptr ? &above.node : nullptr, input,
                 LYD_XML, LYD_PARSE_ONLY | LYD_PARSE_STRICT, 0, &parsed);
  ly_in_free(input, 0);
  if (above.schema == nullptr) return TreePtr(parsed);
  lyd_node* const child = above.child;
  if (child == nullptr) return nullptr;
  lyd_unlink_tree(child);
  return TreePtr(child);
}

std::string tree_key(const lyd_node* entry) {
  if (entry->schema->nodetype == LYS_LEAFLIST) return lyd_get_value(entry);
  std::string key;
  for (const lyd_node* child = lyd_child(entry); child != nullptr; child = child->next) {
    if (child->schema == nullptr || !lysc_is_key(child->schema)) break;
    if (child->prev->next != nullptr) key.push_back('\0');
    key.append(lyd_get_value(child));
  }
  return key;
}

const ImageNode* find_in_image(const ImageInner& parent, const lyd_node* node) {
  const ImageNode* const found = parent.find(node->schema);
  if (found == nullptr || found->kind() != ImageKind::kGroup) return found;
  const GroupEntry* const entry = found->group().find(tree_key(node));
  return entry != nullptr ? entry->node.get() : nullptr;
}

lyd_node* find_in_tree(lyd_node* top, lyd_node* parent, const ImageNode& node) {
  lyd_node* const siblings = parent != nullptr ? lyd_child(parent) : top;
  const lysc_node* const schema = node.schema();
  lyd_node* found = nullptr;
  if (siblings == nullptr) return nullptr;
  // libyang finds the value that it reads in a text, which may be another one of a union.
  const bool is_ambiguous =
      schema->nodetype == LYS_LEAFLIST && SchemaTexts::current().of(schema).mixes_json_types;
  if (schema->nodetype == LYS_LIST || is_ambiguous) {
    // An entry can only be made below its parent; a copy of it without children will do.
    lyd_node* copy = nullptr;
    if (parent != nullptr &&
        lyd_dup_single(parent, nullptr, LYD_DUP_NO_META, &copy) != LY_SUCCESS) {
      out_of_memory();
    }
    const TreePtr above(copy);
    lyd_node* const probe = new_node(copy, node);
    const TreePtr alone(copy == nullptr ? probe : nullptr);
    lyd_find_sibling_first(siblings, probe, &found);
    return found;
  }
  const bool is_value = schema->nodetype == LYS_LEAFLIST;
  const std::string_view value = is_value ? node.leaf().text() : std::string_view();
  lyd_find_sibling_val(siblings, schema, is_value ? value.data() : nullptr, value.size(), &found);
  return found;
}

}  // namespace nexa::store
