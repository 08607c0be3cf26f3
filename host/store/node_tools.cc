// Matching has two ways because libyang compares values of leaves where it has no hash table.
#include "store/node_tools.h"

#include <cstddef>
#include <utility>
#include <vector>

#include "store/child_table.h"
#include "store/image/schema_texts.h"
#include "store/image/union_value.h"
#include "store/siblings.h"

namespace nexa::store {

lyd_node* find_match(const lyd_node* siblings, const lyd_node* like) {
  if (siblings == nullptr) return nullptr;
  if ((like->schema->nodetype & (LYS_LIST | LYS_LEAFLIST)) == 0) {
    return find_instance(siblings, like->schema);
  }
  lyd_node* match = nullptr;
  return lyd_find_sibling_first(siblings, like, &match) == LY_SUCCESS ? match : nullptr;
}

lyd_node* find_instance(const lyd_node* siblings, const lysc_node* schema) {
  if (siblings == nullptr) return nullptr;
  // Not lyd_find_sibling_val: without a value it changes the parent's hash table while it looks,
  // and the trees of readers come here too.
  return const_cast<lyd_node*>(first_instance(lyd_first_sibling(siblings), schema));
}

lyd_node* first_child(const lyd_node* node) { return lyd_child(node); }

bool is_key(const lyd_node* node) { return lysc_is_key(node->schema); }

bool is_plain_container(const lyd_node* node) { return lysc_is_np_cont(node->schema); }

bool insert_node(lyd_node*& top, lyd_node* parent, lyd_node* node) {
  make_room(parent);
  const LY_ERR done =
      parent != nullptr ? lyd_insert_child(parent, node) : lyd_insert_sibling(top, node, &top);
  if (done == LY_SUCCESS) return true;
  lyd_free_tree(node);
  return false;
}

void remove_node(lyd_node*& top, lyd_node* node) {
  if (node == top) top = node->next;
  lyd_free_tree(node);
}

namespace {

void strip_siblings(lyd_node*& top, lyd_node* first) {
  for (lyd_node* node = first; node != nullptr;) {
    lyd_node* const next = node->next;
    if ((node->flags & LYD_DEFAULT) != 0) {
      remove_node(top, node);
    } else {
      strip_siblings(top, first_child(node));
      const bool is_empty = is_plain_container(node) && first_child(node) == nullptr;
      if (is_empty && node->priv == nullptr) remove_node(top, node);
    }
    node = next;
  }
}

}  // namespace

void strip_defaults(TreePtr& tree) {
  lyd_node* top = tree.release();
  strip_siblings(top, top);
  tree.reset(top);
}

void settle_container_flags(lyd_node* node) {
  for (; node != nullptr && is_plain_container(node); node = lyd_parent(node)) {
    for (const lyd_node* child = first_child(node); child != nullptr; child = child->next) {
      if ((child->flags & LYD_DEFAULT) == 0) return;
    }
    node->flags |= LYD_DEFAULT;
  }
}

namespace {

// Whether libyang has to read the text: a value that is said to be canonical is taken unread. Paths
// have the prefixes of JSON, which the other functions read; of a union the text may be another
// member's.
bool has_to_be_read(const lysc_node* leaf) {
  const SchemaText& text = SchemaTexts::current().of(leaf);
  return text.may_have_prefixes || text.mixes_json_types;
}

}  // namespace

namespace {

template <std::size_t... Index>
LY_ERR new_entry_of(lyd_node* parent, const lysc_node* schema, std::span<const char* const> keys,
                    lyd_node** made, std::index_sequence<Index...> /*places*/) {
  const auto key = [keys](std::size_t i) { return i < keys.size() ? keys[i] : nullptr; };
  return lyd_new_list(parent, schema->module, schema->name, 0, made, key(Index)...);
}

}  // namespace

// libyang reads as many arguments as the list has keys, so there have to be as many.
LY_ERR new_list_entry(lyd_node* parent, const lysc_node* schema, std::span<const char* const> keys,
                      lyd_node** made) {
  std::size_t count = 0;
  const lysc_node* child = lysc_node_child(schema);
  for (; child != nullptr && lysc_is_key(child); child = child->next) ++count;
  if (count != keys.size() || count > kMostKeys) return LY_EINVAL;
  constexpr std::size_t kFew = 4;
  return count <= kFew
             ? new_entry_of(parent, schema, keys, made, std::make_index_sequence<kFew>())
             : new_entry_of(parent, schema, keys, made, std::make_index_sequence<kMostKeys>());
}

LY_ERR new_canonical_term(lyd_node* parent, const lysc_node* schema, const char* text,
                          lyd_node** made) {
  make_room(parent);
  const LY_ERR done = (has_to_be_read(schema) ? lyd_new_term : lyd_new_term_canon)(
      parent, schema->module, schema->name, text, 0, made);
  if (done == LY_SUCCESS) keep_text(*made, text);
  return done;
}

LY_ERR change_canonical_term(lyd_node* leaf, const char* text) {
  const LY_ERR done =
      (has_to_be_read(leaf->schema) ? lyd_change_term : lyd_change_term_canon)(leaf, text);
  keep_text(leaf, text);
  return done;
}

}  // namespace nexa::store
