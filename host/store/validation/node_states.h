// What a running judgement knows about single nodes: an arena that the nodes' `priv` points into,
// so that a bulk load costs no search in a table of nodes.
#ifndef HOST_STORE_VALIDATION_NODE_STATES_H_
#define HOST_STORE_VALIDATION_NODE_STATES_H_

#include <deque>

#include "store/tree.h"

namespace nexa::store {

struct Level;

struct NodeState {
  lyd_node* node = nullptr;
  Level* level = nullptr;     // its children, where they matter
  lyd_node* above = nullptr;  // is_gone: the node it stood below
  bool is_created = false;    // came with the change or with the judgement, with all below it
  bool is_implicit = false;   // came with the judgement, as a default
  bool is_changed = false;    // the change gave it another value, or made a default explicit
  // Where a whole tree is read as a change:
  bool is_old = false;     // stood before, and its conditions held
  bool has_stood = false;  // stood before; maybe with another value
  bool is_gone = false;    // taken out of the tree, with all below it
};

// One thread. Every node that it knows stays alive until reset().
class NodeStates {
 public:
  NodeStates() = default;
  NodeStates(const NodeStates&) = delete;
  NodeStates& operator=(const NodeStates&) = delete;
  ~NodeStates() { reset(); }

  // The state of a node, made when it has none.
  NodeState& of(lyd_node* node) {
    if (node->priv == nullptr) {
      states_.emplace_back().node = node;
      node->priv = &states_.back();
    }
    return *static_cast<NodeState*>(node->priv);
  }

  // Null when nothing is known about the node itself.
  static const NodeState* find(const lyd_node* node) {
    return static_cast<const NodeState*>(node->priv);
  }

  // Whether the node came with the change or the judgement. A leaf below a node that came has no
  // state of its own: every inner node that came has one.
  static bool is_created(const lyd_node* node) {
    if (const NodeState* const state = find(node); state != nullptr && state->is_created) {
      return true;
    }
    const lyd_node* const parent = lyd_parent(node);
    const NodeState* const above = parent != nullptr ? find(parent) : nullptr;
    return above != nullptr && above->is_created;
  }

  static bool is_implicit(const lyd_node* node) {
    const NodeState* const state = find(node);
    return state != nullptr && state->is_implicit;
  }

  // Whether the change itself asked for the node or its value.
  static bool is_asked(const lyd_node* node) {
    const NodeState* const state = find(node);
    if (state != nullptr && (state->is_implicit || state->is_old)) return false;
    return (state != nullptr && state->is_changed) || is_created(node);
  }

  // Whether the node or one above it was taken out of the tree.
  static bool is_gone(const lyd_node* node) {
    while (lyd_parent(node) != nullptr) node = lyd_parent(node);
    const NodeState* const state = find(node);
    return state != nullptr && state->is_gone;
  }

  // The parent; of a node that was taken out, the one that it stood below.
  static lyd_node* parent_of(const lyd_node* node) {
    lyd_node* const parent = lyd_parent(node);
    if (parent != nullptr) return parent;
    const NodeState* const state = find(node);
    return state != nullptr ? state->above : nullptr;
  }

  // The nearest node upwards, `node` included, that is an instance of `schema`; else null.
  static lyd_node* climb(lyd_node* node, const lysc_node* schema) {
    while (node != nullptr && node->schema != schema) node = parent_of(node);
    return node;
  }

  // Forgets everything: `priv` of every node is null again.
  void reset() {
    for (NodeState& state : states_) state.node->priv = nullptr;
    states_.clear();
  }

 private:
  std::deque<NodeState> states_;
};

}  // namespace nexa::store

#endif  // HOST_STORE_VALIDATION_NODE_STATES_H_
