// One change judged: what came, went and became different, which constraints that touches, and what
// validation has to complete. Holds for a tree that was valid before the change.
#ifndef HOST_STORE_VALIDATION_CHANGE_CHECK_H_
#define HOST_STORE_VALIDATION_CHANGE_CHECK_H_

#include <algorithm>
#include <deque>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "store/validation/change_record.h"
#include "store/validation/constraint_index.h"
#include "store/validation/validation.h"

namespace nexa::host {

// The children of one node, or the top-level nodes of one module.
struct Level {
  lyd_node* parent = nullptr;
  const lys_module* module = nullptr;     // top level only
  bool gone = false;                      // the parent was deleted meanwhile
  bool fresh = false;                     // the parent is new: nothing about it was judged before
  std::size_t number = 0;                 // in the order of arrival
  std::vector<const lysc_node*> touched;  // children that came, went or changed
  std::vector<const lyd_node*> arrivals;  // children that the change brought
  std::vector<const lysc_node*> retry;    // absent ones whose `when` may have become true
};

// What stands in the data of one case of a choice.
struct CaseData {
  bool any = false;
  bool any_new = false;
  bool any_explicit = false;
};

class ChangeCheck {
 public:
  enum class Verdict : std::uint8_t { kValid, kInvalid, kUnknown };

  ChangeCheck(const ConstraintIndex& index, const ly_ctx* context, lyd_node*& tree)
      : index_(index), context_(context), tree_(tree) {}
  ChangeCheck(const ChangeCheck&) = delete;
  ChangeCheck& operator=(const ChangeCheck&) = delete;

  // kUnknown: the change cannot be judged by itself; mark_nodes() and ask libyang.
  Verdict judge(const lyd_node* diff);

  // Judges every `when` of the tree, in the order of their dependencies, and what follows from it.
  // libyang takes them in another order and may leave a node whose condition went with a default.
  // An explicit node whose condition is false is a violation.
  Verdict judge_all_whens();

  // Marks every node as new or old, so that libyang judges as after a first validation.
  void mark_nodes();

  // What is missing, too much or doubled at a level: the first such problem of the whole tree.
  std::optional<Violation> first_problem();

  TreePtr take_changes();
  Violation take_violation() { return std::move(*violation_); }

 private:
  enum class Event : std::uint8_t { kCreated, kDeleted, kChanged };
  using Demand = std::pair<const Constraint*, lyd_node*>;

  // Reading the change (change_reading.cc).
  void read(const lyd_node* diff, std::string_view inherited, lyd_node* parent);
  void read_one(const lyd_node* diff, std::string_view operation, lyd_node* parent);
  void note_created(lyd_node* root);
  void note_deleted(const lyd_node* root, lyd_node* parent);
  void fire_deleted(const lyd_node* root, lyd_node* parent);
  void note_emptied(lyd_node* node);
  void note_changed(lyd_node* node, const char* old_value);
  Level& level_of(lyd_node* parent, const lysc_node* child);
  void touch(lyd_node* parent, const lysc_node* child);
  void fire(const lysc_node* schema, lyd_node* start, Event event, const char* old_value);
  void demand_all(const Constraint& constraint, lyd_node* reach);
  void demand(const Constraint& constraint, lyd_node* node);
  void touch_uniques(const lysc_node* schema, lyd_node* start);
  void drop(lyd_node* node);
  void forget(lyd_node* root);
  bool is_gone(const lyd_node* node) const { return gone_.count(node) != 0; }

  // Choices and defaults (validation_choices.cc, validation_defaults.cc).
  bool settle_dirty();
  void settle(Level& level);
  void settle_choices(Level& level);
  CaseData data_of(const Level& level, const lysc_node* branch) const;
  void settle_choice(Level& level, const lysc_node_choice* choice);
  void drop_case(Level& level, const lysc_node* branch);
  void check_duplicates(Level& level);
  bool is_single(const lyd_node* node);
  void add_defaults(Level& level, const lysc_node* schema_parent, bool in_choice);
  void add_default(Level& level, const lysc_node* node);
  void add_choice_default(Level& level, const lysc_node* choice);
  lyd_node* make(lyd_node* parent, const lysc_node* schema, const lyd_value* value);
  void settle_default_flags();

  // Conditions, references and musts (validation_values.cc).
  void judge_whens();
  void judge_when(const Constraint& constraint, lyd_node* node);
  void judge_references();
  void judge_reference(const Constraint& constraint, lyd_node* node);
  bool target_exists(const PlainPath& path, const lyd_node* node) const;
  void judge_union(const Constraint& constraint, const lyd_node* node);
  void judge_musts();
  bool holds(const lyd_node* context, const lys_module* module, const lyxp_expr* expression,
             lysc_prefix* prefixes);

  // Mandatory nodes, counts and uniques (validation_structure.cc).
  void judge_structure(Level& level, const lysc_node* schema_parent);
  void judge_case(Level& level, const lysc_node* choice);
  void judge_present(Level& level, const lysc_node* node);
  void judge_count(Level& level, const lysc_node* node, std::uint32_t min, std::uint32_t max);
  bool is_excused(Level& level, const lysc_node* node);
  bool condition_holds(Level& level, const lysc_node* owner, const lysc_when& when,
                       const lysc_node* absent);
  std::string path_below(const Level& level, const lysc_node* node) const;
  void judge_uniques();
  void judge_unique(const lyd_node* first, const lysc_node_list* list);

  // The search for a problem (validation_search.cc).
  void search_level(lyd_node* parent, const lys_module* module);
  void search_choice(Level& level, const lysc_node* choice);

  Verdict conclude();
  bool has_data(const lys_module* module) const;
  void mark(lyd_node* node, bool is_new);
  bool is_from_change(const lyd_node* node) const;
  void fail(Violation violation);
  bool stopped() const { return unknown_ || violation_.has_value(); }
  lyd_node* first_of(const Level& level) const {
    return level.parent != nullptr ? lyd_child(level.parent) : tree_;
  }

  const ConstraintIndex& index_;
  const ly_ctx* context_;
  lyd_node*& tree_;
  ChangeRecord record_;
  std::optional<Violation> violation_;
  bool unknown_ = false;
  bool is_all_new_ = false;  // every explicit node counts as one that the change brought
  bool any_gone_ = false;    // some node went or took another value

  std::deque<Level> levels_;
  std::set<std::size_t> dirty_;  // numbers of levels whose choices and defaults are to be settled
  std::unordered_map<const void*, Level*> level_index_;
  std::unordered_set<const lyd_node*> created_;   // came with the change or with its defaults
  std::unordered_set<const lyd_node*> changed_;   // leafs that the change gave another value
  std::unordered_set<const lyd_node*> implicit_;  // those that came as defaults
  std::vector<lyd_node*> made_;                   // the same in their order
  std::unordered_set<const lyd_node*> gone_;      // those that validation took out
  std::vector<TreePtr> dropped_;                  // their tops
  std::set<std::pair<const Constraint*, const lyd_node*>> fired_;
  std::set<Demand> demanded_;
  std::map<int, std::vector<Demand>> whens_;
  std::vector<Demand> references_;
  std::vector<Demand> musts_;
  // Values that went from the target of a reference, by the instance that bounds its reach.
  std::map<std::pair<const Constraint*, lyd_node*>, std::unordered_set<std::string>> lost_;
  std::set<std::pair<lyd_node*, const lysc_node_list*>> uniques_;  // parent (or null) and list
};

// Calls `visit` for each instance of `schema` below `top`; null is the whole `tree`.
template <typename Visit>
void each_instance(lyd_node* tree, lyd_node* top, const lysc_node* schema, const Visit& visit);

// The first instance among siblings, null when there is none.
lyd_node* find_among(const lyd_node* siblings, const lysc_node* schema);

// The nearest node upwards, `node` included, that is an instance of `schema`; else null.
lyd_node* climb(lyd_node* node, const lysc_node* schema);

// The schema nodes on the way from below `top` (null: the root) down to `node`, both ends included.
std::vector<const lysc_node*> way_down(const lysc_node* top, const lysc_node* node);

template <typename Visit>
void visit_way(const lyd_node* siblings, const std::vector<const lysc_node*>& way, std::size_t at,
               const Visit& visit) {
  lyd_node* node = find_among(siblings, way[at]);
  for (; node != nullptr && node->schema == way[at]; node = node->next) {
    if (at + 1 == way.size()) {
      visit(node);
    } else {
      visit_way(lyd_child(node), way, at + 1, visit);
    }
  }
}

template <typename Visit>
void each_instance(lyd_node* tree, lyd_node* top, const lysc_node* schema, const Visit& visit) {
  if (top != nullptr && top->schema == schema) return visit(top);
  const std::vector<const lysc_node*> way =
      way_down(top != nullptr ? top->schema : nullptr, schema);
  if (!way.empty()) visit_way(top != nullptr ? lyd_child(top) : tree, way, 0, visit);
}

inline bool contains(const std::vector<const lysc_node*>& nodes, const lysc_node* node) {
  return std::find(nodes.begin(), nodes.end(), node) != nodes.end();
}

// Calls `visit` for a node and all below it.
template <typename Visit>
void each_node(lyd_node* root, const Visit& visit) {
  visit(root);
  for (lyd_node* child = lyd_child(root); child != nullptr; child = child->next) {
    each_node(child, visit);
  }
}

}  // namespace nexa::host

#endif  // HOST_STORE_VALIDATION_CHANGE_CHECK_H_
