// Which constraints does a schema node touch? Walks the compiled schema once and notes for each
// data node the constraints that it states itself and those whose expressions look at it.
//
// A constraint is *proven* when all that its expression looks at is known (xpath_paths.h), so that
// a change can be judged by asking the constraints that it touches. Every other is *whole*: a
// change that can reach it is left to libyang over the whole tree.
#ifndef HOST_STORE_VALIDATION_CONSTRAINT_INDEX_H_
#define HOST_STORE_VALIDATION_CONSTRAINT_INDEX_H_

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "store/tree.h"
#include "store/validation/xpath_paths.h"

namespace nexa::store {

// Where a plain path without predicates leads: down from the nearest `top` (null: the root).
struct PlainPath {
  const lysc_node* top = nullptr;
  const lysc_node* target = nullptr;  // null: the path is not plain
};

struct Constraint {
  enum class Kind : std::uint8_t {
    kWhen,
    kReference,  // leafref, instance-identifier, or a union with one of these
    kMust,
  };
  Kind kind = Kind::kMust;
  const lysc_node* node = nullptr;   // its instances are judged
  const lysc_node* owner = nullptr;  // states it: the node, or for `when` a choice or case above
  const lysc_must* must = nullptr;
  const lysc_when* when = nullptr;
  const lysc_node* reach = nullptr;  // it looks at nothing outside this node; null: the whole tree
  bool is_absolute = false;          // it yields the same wherever in the tree it is asked
  int rank = 0;                      // when: after all those that its expression depends on
  // kWhen: without an instance something may be missed while the condition holds: a default, a
  // mandatory node or choice, a count, or the case that the node would keep. When the condition may
  // have turned true, the level below each instance of `absent_parent` (null: the top level of the
  // node's module) is to be judged again. Each node that a choice's or case's `when` governs has a
  // constraint of its own.
  bool absent_matters = false;
  const lysc_node* absent_parent = nullptr;
  std::string whole;      // why it is whole, in words for a model's author; empty: it is proven
  std::string hazard;     // what libyang may die of when it judges this; empty: nothing known
  bool anywhere = false;  // whole, and reached by every change
  const lysc_node* target = nullptr;  // kReference: where a leafref's plain path leads, else null
  std::vector<PlainPath> members;     // kReference: the leafrefs among a union's members
};

struct NodeRules {
  std::vector<const Constraint*> own;       // judged when an instance is new or has a new value
  std::vector<const Constraint*> watchers;  // judged when an instance comes, goes or changes
  bool conditional = false;                 // has a `when`, its own or a choice's or case's
  bool structured = false;                  // children with counts, uniques, mandatory or choices
  bool foreign = false;                     // judged by an extension: only libyang can
  bool in_unique = false;                   // leaf of some list's `unique`
  std::vector<const Constraint*> whole;     // reached when an instance comes, goes or changes
  std::vector<const Constraint*> placed;    // of a list or leaf-list: whole, look into its entries
  mutable bool seen = false;                // an instance was in the tree at some time
};

class ConstraintIndex {
 public:
  explicit ConstraintIndex(const ly_ctx* context);
  ConstraintIndex(const ConstraintIndex&) = delete;
  ConstraintIndex& operator=(const ConstraintIndex&) = delete;

  // Notes the schema nodes of a whole tree as seen. Without an instance ever seen there is nothing
  // to search for; before the first call everything counts as seen.
  void see(const lyd_node* tree);
  bool may_exist(const lysc_node* node) const { return !knows_tree_ || rules(node).seen; }

  const NodeRules& rules(const lysc_node* node) const;

  // Every constraint, in the order of the schema. Pointers hold as long as the index.
  const std::deque<Constraint>& constraints() const { return constraints_; }

  // The constraints that only libyang can judge, over the whole tree.
  const std::vector<const Constraint*>& whole() const { return whole_; }

  // Whether a change of an instance of `node` (by coming, by going, by value) can reach a whole
  // constraint. One whose node was never seen and whose absence does not matter counts for nothing.
  bool reaches_whole(const lysc_node* node) const;
  // Whether the place of an entry of `list` among its siblings can; of any list at all.
  bool place_reaches_whole(const lysc_node* list) const;
  bool any_place_reaches_whole() const { return any_placed_; }

  // Whether every change can reach a whole constraint.
  bool whole_everywhere() const;

  // Whether judging some constraint may end the process: whole judgements belong into a child.
  bool is_risky() const { return is_risky_; }

  // References that any deletion can break: to instances that the value itself names.
  const std::vector<const Constraint*>& by_value() const { return by_value_; }

  // Whether some expression asks for a default of another module's tree. libyang judges one module
  // after the other, each before it completes the next one.
  bool asks_other_modules() const { return asks_other_modules_; }

  // Whether some `when` depends on a node that has one itself, or stands below one.
  bool has_when_chains() const { return has_when_chains_; }
  const std::vector<const Constraint*>& whens() const { return whens_; }

 private:
  void add_children(const lysc_node* parent, const lysc_module* module);
  void add_node(const lysc_node* node);
  void add_whens(const lysc_node* node);
  void add_reference(const lysc_node* node, const lysc_type* type);
  Constraint& add(Constraint::Kind kind, const lysc_node* node);
  ExpressionPaths watch(Constraint& constraint, const lysc_node* context,
                        const lyxp_expr* expression, const lysc_prefix* prefixes);
  void spread();
  void note_places(const Constraint& constraint, const lysc_node* seen);
  bool may_judge(const Constraint& constraint) const;
  bool may_judge_any(const std::vector<const Constraint*>& constraints) const;
  void rank_whens();
  bool has_condition_above(const lysc_node* node) const;
  int rank_of(Constraint& constraint, int depth);

  const ly_ctx* context_;
  std::unordered_map<const lysc_node*, NodeRules> rules_;
  std::vector<const NodeRules*> numbered_;  // the same, by schema_number()
  std::deque<Constraint> constraints_;
  std::vector<const Constraint*> whole_;
  std::vector<const Constraint*> by_value_;
  struct Looks {
    std::vector<const lysc_node*> visited;
    std::vector<const lysc_node*> asked;
  };
  std::unordered_map<const Constraint*, Looks> looks_;
  bool is_risky_ = false;
  bool any_placed_ = false;
  bool asks_other_modules_ = false;
  NodeRules none_;
  std::vector<const Constraint*> whens_;
  bool has_when_chains_ = false;
  bool knows_tree_ = false;
};

// Whether `ancestor` is `node` or stands above it among the data nodes; null is above everything.
bool stands_below(const lysc_node* node, const lysc_node* ancestor);

// Whether it makes a difference to its parent that no instance of a data node is there.
bool matters_absent(const lysc_node* node);

// Whether a reference of this type needs an instance that is there.
bool needs_instance(const lysc_type* type);

}  // namespace nexa::store

#endif  // HOST_STORE_VALIDATION_CONSTRAINT_INDEX_H_
