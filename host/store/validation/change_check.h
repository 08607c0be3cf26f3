// One change judged: what came, went and became different, which constraints that touches, and what
// validation has to complete. Holds for a tree that was valid before the change.
//
// The tree is seen as levels: the children of one node, or the top-level nodes of one module. A
// judgement goes through four steps, and each keeps what the next ones rely on:
//
// 1. Reading notes each change at its level and asks every constraint that may look at it
//    (`demand`, `fire`). A node that came is noted with all below it: inner nodes get a state and a
//    fresh level, so a node is new if it or its parent has a state that says so.
// 2. Settling (`settle_dirty`) makes a dirty level what libyang would make it: one case of each
//    choice, every default. It knows nothing of conditions, except that an absent node that has one
//    is not made but asked for in step 3. A level is dirty from the moment that a child came or
//    went until it is settled.
// 3. Conditions are judged by rank, and a condition's rank is above those of all conditions that
//    its expression depends on. Whatever a verdict makes or takes out fires in its turn, and dirty
//    levels are settled before the next condition. So when the queue `whens_` is empty, every
//    condition that the change could reach was judged on the tree as it is now. libyang's own walk
//    judges conditions in no certain order, so where the order matters the change is left to it.
// 4. References, musts, counts and uniques are judged on the final tree, each once.
//
// Nodes that are taken out stay alive until the judgement ends, in `changes_` or `dropped_`, with
// the state `is_gone`; lists that still name them pass over them. All that the judgement does to
// the tree is in `changes_`, except what it made and took out again itself.
//
// Whatever cannot be told for certain sets `unknown_`; then nothing else counts, and the whole tree
// has to be judged.
#ifndef HOST_STORE_VALIDATION_CHANGE_CHECK_H_
#define HOST_STORE_VALIDATION_CHANGE_CHECK_H_

#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <queue>
#include <set>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "store/tree_change.h"
#include "store/validation/constraint_index.h"
#include "store/validation/level_plans.h"
#include "store/validation/node_states.h"
#include "store/validation/tree_walk.h"
#include "store/validation/unsure_conditions.h"
#include "store/validation/validation.h"

namespace nexa::store {

struct Level {
  lyd_node* parent = nullptr;
  const lys_module* module = nullptr;  // top level only
  std::size_t number = 0;              // in the order of arrival
  std::size_t depth = 0;               // nodes above
  bool fresh = false;                  // nothing about it was judged before: the parent is new
  bool dirty = false;
  std::vector<const lysc_node*> touched;  // children that came, went or changed
  std::vector<const lyd_node*> arrivals;  // children that the change brought; not where fresh
  std::vector<const lysc_node*> retry;    // absent ones whose `when` may have become true
  std::vector<const lysc_node*> refused;  // made and taken out; not asked for again until retried
  std::size_t refusals = 0;               // how often something was made and taken out
};

// What the check knows about the loaded schema; shared by all judgements.
struct SchemaKnowledge {
  const ly_ctx* context = nullptr;
  const ConstraintIndex* index = nullptr;
  LevelPlans* plans = nullptr;
  const UnsureConditions* unsure = nullptr;
  // Whether the module's defaults stand in a tree without data of the module.
  std::function<bool(const lys_module*)> has_standing_defaults;
};

class ChangeCheck {
 public:
  enum class Verdict : std::uint8_t { kValid, kInvalid, kUnknown };

  // `changes`: those made to `tree`; the check appends its own.
  ChangeCheck(const SchemaKnowledge& schema, lyd_node*& tree, TreeChanges& changes)
      : schema_(schema), index_(*schema.index), tree_(tree), changes_(changes) {}
  ChangeCheck(const ChangeCheck&) = delete;
  ChangeCheck& operator=(const ChangeCheck&) = delete;

  // kUnknown: the change cannot be judged by itself, or touches more than `most_nodes`.
  Verdict judge(std::size_t most_nodes);

  // Judges each `when` that depends on another one, and what follows from it, after libyang judged
  // the tree: libyang takes conditions in no certain order. `given`: the nodes that may not go
  // without a violation. Every constraint that only the whole tree can judge is asked again when
  // something was changed.
  Verdict judge_chains(const std::vector<lyd_node*>& given);

  // Judges all of `tree`, marked by Validator::mark_node, in the order that conditions depend on
  // each other. kUnknown: some value has to be judged by libyang.
  Verdict judge_everything();

  // What is missing, too much or doubled at a level: the first such problem of the whole tree.
  std::optional<Violation> first_problem();

  Violation take_violation() { return std::move(*violation_); }

 private:
  enum class Event : std::uint8_t { kCreated, kDeleted, kChanged };
  using Demand = std::pair<const Constraint*, lyd_node*>;
  using Absent = std::pair<const lysc_node*, Level*>;

  // Conditions of one rank that wait for their judgement.
  struct WhenQueue {
    std::vector<Demand> nodes;
    std::vector<Demand> risky;  // nodes with conditions that libyang may die of: last
    std::set<Demand> fired;     // all instances within a node, null: within the tree
    std::vector<Absent> absent;
  };

  // Reading the change (change_reading.cc).
  void read();
  void note_created(lyd_node* root);
  void note_deleted(lyd_node* root, lyd_node* parent);
  void note_value(const TreeChange& change);
  void note_flag(lyd_node* node);
  void note_moved(lyd_node* node);
  void note_emptied(lyd_node* node);
  bool enter(const lysc_node* schema);
  void reach_whole();
  Level& level_of(lyd_node* parent, const lysc_node* child);
  Level& touch(lyd_node* parent, const lysc_node* child);
  void make_dirty(Level& level);
  bool is_gone(const Level& level) const {
    return level.parent != nullptr && NodeStates::is_gone(level.parent);
  }

  // Which constraints are to be asked (change_demands.cc).
  void fire(const lysc_node* schema, lyd_node* start, Event event, const char* old_value);
  void fire_deleted(lyd_node* root, lyd_node* parent);
  void expand(const Constraint& constraint, lyd_node* reach);
  void demand(const Constraint& constraint, lyd_node* node);
  void demand_when(const Constraint& constraint, lyd_node* node);
  void demand_own(lyd_node* node);
  void demand_whole();
  void touch_uniques(lyd_node* start);

  // Choices and defaults (validation_choices.cc, validation_defaults.cc).
  bool settle_dirty();
  void settle(Level& level);
  void settle_choices(Level& level, const lysc_node* schema_parent);
  bool is_touched(const Level& level, const lysc_node* choice) const;
  bool has_arrival(const Level& level, const lysc_node* branch) const;
  bool has_new(const Level& level, const lysc_node* branch) const;
  const lyd_node* data_of(const Level& level, const lysc_node* branch);
  bool holds_explicit(const Level& level, const lysc_node* branch);
  void settle_choice(Level& level, const lysc_node_choice* choice);
  void drop_case(Level& level, const lysc_node* branch);
  void check_mixed_defaults(Level& level);
  void add_defaults(Level& level, const lysc_node* schema_parent, bool in_choice);
  void add_default(Level& level, const lysc_node* node);
  void add_choice_default(Level& level, const lysc_node* choice);
  void make_default(Level& level, const lysc_node* node);
  lyd_node* make(lyd_node* parent, const lysc_node* schema, const lyd_value* value);
  void drop(lyd_node* node);
  void settle_default_flags();
  void set_default(lyd_node* container);

  // Conditions (validation_whens.cc).
  void judge_whens();
  void judge_next_when(WhenQueue& queue);
  void judge_when(const Constraint& constraint, lyd_node* node);
  void refuse(const lysc_node* schema, Level& level);
  void refuse_given_below(lyd_node* root);
  bool is_in_active_case(const Level& level, const lysc_node* node);
  void judge_absent(const lysc_node* node, Level& level);
  bool can_wait(const lysc_node* node, int& rank);
  bool is_excused(Level& level, const lysc_node* node);
  bool is_in_touched_case(const Level& level, const lysc_node* node) const;
  const Constraint* constraint_of(const lysc_node* node, const lysc_when& when) const;
  bool condition_holds(Level& level, const lysc_node* owner, const lysc_when& when,
                       const lysc_node* absent);
  bool holds(const lyd_node* context, const lys_module* module, const lyxp_expr* expression,
             lysc_prefix* prefixes);

  // References and musts (validation_values.cc).
  void judge_references();
  void judge_reference(const Constraint& constraint, lyd_node* node);
  bool target_exists(const PlainPath& path, const lyd_node* node) const;
  void judge_union(const Constraint& constraint, const lyd_node* node);
  void judge_musts();

  // Mandatory nodes, counts and uniques (validation_structure.cc).
  void judge_levels();
  void judge_structure(Level& level, const lysc_node* schema_parent, bool all);
  void judge_case(Level& level, const lysc_node* choice, bool all);
  void judge_present(Level& level, const lysc_node* node);
  void judge_count(Level& level, const lysc_node* node);
  std::string path_below(const Level& level, const lysc_node* node) const;
  void judge_uniques();
  void judge_unique(const lyd_node* first, const lysc_node_list* list);

  // The search for a problem (validation_search.cc).
  void search_level(lyd_node* parent, const lys_module* module);
  void search_choice(Level& level, const lysc_node* choice);

  Verdict conclude();
  bool may_exist(const lysc_node* node) const { return judges_whole_ || index_.may_exist(node); }
  bool has_data(const lys_module* module) const;
  void leave_modules();
  bool is_left(const lys_module* module) const;
  void fail(Violation violation);
  bool stopped() const { return unknown_ || violation_.has_value(); }
  lyd_node* first_of(const Level& level) const {
    return level.parent != nullptr ? lyd_child(level.parent) : tree_;
  }

  const SchemaKnowledge& schema_;
  const ConstraintIndex& index_;
  lyd_node*& tree_;
  TreeChanges& changes_;
  std::optional<Violation> violation_;
  bool unknown_ = false;
  bool is_reading_ = false;     // step 1: no condition was judged yet
  bool judges_whole_ = false;   // nothing is left to libyang: it judged the tree before
  bool reached_whole_ = false;  // judges_whole_: something that whole constraints look at changed
  bool is_dropping_ = false;    // a condition takes out a node that was there before
  const lysc_node* refused_ = nullptr;  // a condition takes out a default of this that it was asked
  bool any_gone_ = false;               // some node went or took another value
  std::size_t most_nodes_ = 0;          // 0: no limit
  std::size_t nodes_ = 0;               // touched so far

  std::vector<TreePtr> dropped_;  // made and taken out by the judgement itself
  std::deque<Level> levels_;
  using Turn = std::pair<std::size_t, std::size_t>;  // depth and number of a dirty level
  std::priority_queue<Turn, std::vector<Turn>, std::greater<>> dirty_;
  std::map<const lys_module*, Level*> top_levels_;
  std::map<int, WhenQueue> whens_;
  std::set<Demand> fired_;  // references and musts: all instances within a node were demanded
  std::vector<Demand> references_;
  std::vector<Demand> musts_;
  // Values that went from the target of a reference, by the instance that bounds its reach.
  std::map<Demand, std::unordered_set<std::string>> lost_;
  std::set<std::pair<lyd_node*, const lysc_node_list*>> uniques_;  // parent (or null) and list
  NodeStates states_;  // last: forgets its nodes before `dropped_` frees any
};

}  // namespace nexa::store

#endif  // HOST_STORE_VALIDATION_CHANGE_CHECK_H_
