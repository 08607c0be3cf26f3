// Which leaf of operational data shows which leaf of the configuration? Modules that follow the
// style of OpenConfig have a container "state" beside a container "config" with the same leaves in
// both: what is configured stands in one, what is applied in the other.
#ifndef HOST_MODEL_STATE_MIRROR_H_
#define HOST_MODEL_STATE_MIRROR_H_

#include <span>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

struct lysc_module;
struct lysc_node;

namespace nexa::model {

// A leaf or leaf-list of the configuration, and the one of operational data that shows it.
struct MirroredLeaf {
  const lysc_node* config = nullptr;
  const lysc_node* state = nullptr;
};

// A container "config" and the container "state" beside it, both of one module.
struct MirroredContainer {
  const lysc_node* config = nullptr;
  const lysc_node* state = nullptr;
  std::vector<MirroredLeaf> leaves;  // in the schema's order of the state leaves; never empty
};

// The pairs of the schema that is loaded. Made once, after loading; unchanged from then on: any
// thread reads.
class StateMirror {
 public:
  StateMirror();

  // Whether the schema has no such pair.
  bool empty() const { return by_parent_.empty(); }

  // The pairs whose containers are children of `parent` (null: at the top), in the schema's order
  // of the state containers.
  std::span<const MirroredContainer> below(const lysc_node* parent) const;

  // The leaf of operational data that shows a leaf or leaf-list of the configuration, or null: what
  // a change of the one changes, unless a provider gives it.
  const lysc_node* state_of(const lysc_node* config_leaf) const;

  // Whether a leaf or leaf-list of operational data shows one of the configuration.
  bool shows(const lysc_node* state_leaf) const { return showing_.count(state_leaf) != 0; }

 private:
  void add_below(const lysc_node* parent, const lysc_module* module);
  void add_pair(const lysc_node* config, const lysc_node* state,
                std::vector<MirroredContainer>& pairs);

  std::unordered_map<const lysc_node*, std::vector<MirroredContainer>> by_parent_;
  std::unordered_map<const lysc_node*, const lysc_node*> state_leaves_;
  std::unordered_set<const lysc_node*> showing_;
};

}  // namespace nexa::model

#endif  // HOST_MODEL_STATE_MIRROR_H_
