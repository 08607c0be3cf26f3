// Which constraints does a schema node touch? Walks the compiled schema once and notes for each
// data node the constraints that it states itself and those whose expressions look at it.
#ifndef HOST_STORE_VALIDATION_CONSTRAINT_INDEX_H_
#define HOST_STORE_VALIDATION_CONSTRAINT_INDEX_H_

#include <cstdint>
#include <deque>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "store/tree.h"
#include "store/validation/expression_reach.h"

namespace nexa::host {

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
  const lysc_node* reach = nullptr;   // it looks at nothing outside this node; null: the whole tree
  int rank = 0;                       // when: after all those that its expression depends on
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

  // Constraints whose expressions can look anywhere: judged with every change.
  const std::vector<const Constraint*>& always() const { return always_; }

  // References that any deletion can break: to instances that the value itself names.
  const std::vector<const Constraint*>& by_value() const { return by_value_; }

  // Whether some `when` depends on a node that has one itself, or stands below one.
  bool has_when_chains() const { return has_when_chains_; }
  const std::vector<const Constraint*>& whens() const { return whens_; }

 private:
  void add_children(const lysc_node* parent, const lysc_module* module);
  void add_node(const lysc_node* node);
  void add_whens(const lysc_node* node);
  void add_reference(const lysc_node* node, const lysc_type* type);
  PlainPath plain_path(const Constraint& constraint, const lysc_type_leafref* type) const;
  Constraint& add(Constraint::Kind kind, const lysc_node* node);
  void watch(Constraint& constraint, const lysc_node* context, const lyxp_expr* expression,
             const lysc_prefix* prefixes);
  void watch_below(const lysc_node* node);
  void rank_whens();
  bool has_condition_above(const lysc_node* node) const;
  int rank_of(Constraint& constraint, int depth);

  std::unordered_map<const lysc_node*, NodeRules> rules_;
  std::deque<Constraint> constraints_;
  std::vector<const Constraint*> always_;
  std::vector<const Constraint*> by_value_;
  std::unordered_map<const lysc_node*, std::vector<const Constraint*>> below_;
  std::unordered_map<const Constraint*, std::vector<const lysc_node*>> atoms_;
  NodeRules none_;
  std::vector<const Constraint*> whens_;
  bool has_when_chains_ = false;
  bool knows_tree_ = false;
};

// Whether `ancestor` is `node` or stands above it among the data nodes; null is above everything.
bool stands_below(const lysc_node* node, const lysc_node* ancestor);

// Whether a reference of this type needs an instance that is there.
bool needs_instance(const lysc_type* type);

}  // namespace nexa::host

#endif  // HOST_STORE_VALIDATION_CONSTRAINT_INDEX_H_
