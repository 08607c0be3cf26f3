// Small steps on data trees that libyang leaves to its callers: matching nodes of two trees,
// inserting and removing while the first top-level node stays known.
#ifndef HOST_STORE_NODE_TOOLS_H_
#define HOST_STORE_NODE_TOOLS_H_

#include <cstddef>
#include <span>
#include <string>

#include "store/tree.h"

namespace nexa::store {

// The instance among `siblings` (any of them, may be null) that `like` names: the same schema node,
// and the same keys or the same value where these tell instances apart. Constant time below a
// parent.
lyd_node* find_match(const lyd_node* siblings, const lyd_node* like);

// Any instance of a schema node among `siblings`; nullptr when there is none.
lyd_node* find_instance(const lyd_node* siblings, const lysc_node* schema);

// The first child, keys included; of a leaf nullptr.
lyd_node* first_child(const lyd_node* node);

bool is_key(const lyd_node* node);
bool is_plain_container(const lyd_node* node);  // a container without presence

// Links a free node below `parent`, or among the top-level nodes when it is null, behind the other
// instances of its schema node. False when libyang refuses; the node is freed then.
bool insert_node(lyd_node*& top, lyd_node* parent, lyd_node* node);

// Unlinks and frees a node; `top` stays the first top-level node, null when none is left.
void remove_node(lyd_node*& top, lyd_node* node);

// Removes default nodes, and containers without presence that are left empty, unless their `priv`
// says that they stand for more than is copied.
void strip_defaults(TreePtr& tree);

// Marks `node` and containers above it as default content where nothing explicit is left in them.
void settle_container_flags(lyd_node* node);

// Makes an entry of the values of its keys, in their order, below `parent` (null: at the top). Each
// may hold any characters: no path, whose quotes they would have to fit, is made of them. At most
// kMostKeys, which no model comes near; LY_EINVAL when it is not one for each key of the list.
inline constexpr std::size_t kMostKeys = 64;
LY_ERR new_list_entry(lyd_node* parent, const lysc_node* schema, std::span<const char* const> keys,
                      lyd_node** made);

// lyd_new_term_canon() and lyd_change_term_canon() for every type: libyang 2.1 does not read an
// instance identifier that is said to be canonical. The text is kept also where libyang would
// choose a member of a union that has another one.
LY_ERR new_canonical_term(lyd_node* parent, const lysc_node* schema, const char* text,
                          lyd_node** made);
LY_ERR change_canonical_term(lyd_node* leaf, const char* text);

}  // namespace nexa::store

#endif  // HOST_STORE_NODE_TOOLS_H_
