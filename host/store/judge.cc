// A judgement of the whole tree works on a tree of its own, made of what is configured and nothing
// else: what libyang says about it depends on no earlier judgement. That tree becomes the writer's.
#include "store/judge.h"

#include <algorithm>
#include <new>

#include "store/child_table.h"
#include "store/image/image_import.h"
#include "store/image/image_text.h"
#include "store/image/schema_texts.h"
#include "store/validation/child_judgement.h"
#include "store/validation/standing_defaults.h"

namespace nexa::store {
namespace {

// Edits that give more nodes than the tree has, divided by this, are judged by libyang over all of
// it at once: below that the judgement of the change is cheaper.
constexpr std::size_t kWholeAbove = 1;

// The answer of a child: a letter, then the texts of a violation or an image.
constexpr char kValidLetter = 'V';
constexpr char kInvalidLetter = 'I';
constexpr char kFailedLetter = 'F';

Violation::Kind kind_of(char digit) { return static_cast<Violation::Kind>(digit - '0'); }

std::string answer_of(const Violation& violation) {
  std::string text(1, kInvalidLetter);
  text.push_back(static_cast<char>('0' + static_cast<int>(violation.kind)));
  text.append(std::to_string(violation.path.size())).append(":");
  return text.append(violation.path).append(violation.rule);
}

Violation violation_of(std::string_view answer) {
  Violation violation;
  violation.kind = kind_of(answer[1]);
  const std::size_t colon = answer.find(':');
  const std::size_t size = std::stoul(std::string(answer.substr(2, colon - 2)));
  violation.path = answer.substr(colon + 1, size);
  violation.rule = answer.substr(colon + 1 + size);
  return violation;
}

// libyang takes out one case of a choice and completes the other without a look at what is left of
// the table (store/child_table.h). More children than these leave it room enough.
void drop_table_of_choice(lyd_node* node) {
  constexpr int kMostChildren = 32;
  if (!SchemaTexts::current().of(node->schema).has_choice) return;
  int count = 0;
  for (const lyd_node* child = lyd_child(node); child != nullptr; child = child->next) {
    if (++count > kMostChildren) return;
  }
  drop_child_table(node);
}

// Tells the validator which nodes stood before, and which of them have another value now.
void mark_standing(const Validator& validator, lyd_node* first, const ImageInner& before) {
  for (lyd_node* node = first; node != nullptr; node = node->next) {
    const ImageNode* const match = find_in_image(before, node);
    if (match == nullptr) continue;
    const bool is_leaf = match->kind() == ImageKind::kLeaf;
    if (is_leaf && (match->is_default() || match->leaf().text() != lyd_get_value(node))) {
      validator.mark_changed(node);
      continue;
    }
    validator.mark_node(node, false);
    if (match->kind() == ImageKind::kInner) {
      mark_standing(validator, lyd_child(node), match->inner());
      drop_table_of_choice(node);
    }
  }
}

std::size_t count_tree(const lyd_node* node) {
  std::size_t count = 1;
  for (const lyd_node* child = lyd_child(node); child != nullptr; child = child->next) {
    count += count_tree(child);
  }
  return count;
}

}  // namespace

Judge::Judge(Validator::By by)
    : validator_(by), place_matters_([this](const lysc_node* list) {
        return validator_.place_reaches_whole(list);
      }) {}

Judge::~Judge() { forget_tree(); }

bool Judge::has_standing_defaults(const lys_module* module) const {
  return validator_.standing_defaults().has(module);
}

void Judge::forget_tree() {
  changes_.clear();
  lyd_free_all(std::exchange(tree_, nullptr));
  has_tree_ = false;
  is_new_tree_ = false;
}

bool Judge::stand_for(const ImageInner& image) {
  if (has_tree_) return true;
  try {
    tree_ = tree_of_image(image, false).release();
  } catch (const std::bad_alloc&) {
    return false;
  }
  nodes_ = count_nodes(image);
  has_tree_ = true;
  return true;
}

Judge::Verdict Judge::judge(const ImagePtr& before, const ImagePtr& edited, Given given,
                            bool only_whole) {
  // Entries that stood before stay where they were, whatever their order in the document is.
  if (validator_.any_place_reaches_whole()) given.document.reset();
  const std::size_t standing = has_tree_ ? nodes_ : count_nodes(*before);
  if (only_whole || given.nodes * kWholeAbove > standing) {
    return judge_whole(edited, before.get(), *edited, Place::kHere, std::move(given.document));
  }
  given.document.reset();
  Verdict verdict;
  if (!stand_for(*before)) return verdict;
  try {
    verdict = judge_change(before, edited);
  } catch (const std::bad_alloc&) {
    forget_tree();
    return {};
  }
  if (!verdict.whole) return verdict;
  return judge_whole(edited, before.get(), *edited);
}

Judge::Verdict Judge::judge_change(const ImagePtr& before, const ImagePtr& edited) {
  Verdict verdict;
  verdict.image = edited;
  verdict.kind = Verdict::Kind::kValid;
  bring_in_step(*before, *edited, tree_, changes_, place_matters_);
  if (changes_.empty()) return verdict;
  const std::size_t asked = changes_.size();
  Validator::Outcome outcome = validator_.judge_change(tree_, changes_, nodes_);
  if (outcome.needs_whole) {
    take_back();
    verdict.whole = true;
    return verdict;
  }
  if (outcome.violation) {
    verdict.kind = Verdict::Kind::kInvalid;
    verdict.violation = std::move(outcome.violation);
    return verdict;
  }
  take_over(changes_, asked, verdict.image);
  return verdict;
}

TreePtr Judge::fresh_tree(const ImageInner& given, const ImageInner* before,
                          TreePtr document) const {
  TreePtr tree = document != nullptr ? std::move(document) : tree_of_image(given, true);
  if (before != nullptr) mark_standing(validator_, tree.get(), *before);
  return tree;
}

Judge::Verdict Judge::judge_whole(const ImagePtr& given, const ImageInner* before,
                                  const ImageInner& like, Place place, TreePtr document) {
  Verdict verdict;
  verdict.whole = true;
  // Two trees beside each other would cost their memory; the old one can be made again.
  forget_tree();
  try {
    TreePtr fresh = fresh_tree(*given, before, std::move(document));
    if (place == Place::kChild || validator_.is_risky()) {
      return judge_in_child(std::move(fresh), like);
    }
    TreeInWork tree(std::move(fresh));
    verdict.violation = validator_.judge_whole(tree.top);
    TreePtr judged = tree.take();
    if (verdict.violation) {
      verdict.kind = Verdict::Kind::kInvalid;
      return verdict;
    }
    verdict.image = judged_image(judged.get(), like, place_matters_);
    tree_ = judged.release();
    has_tree_ = true;
    is_new_tree_ = true;
    nodes_ = count_nodes(*verdict.image);
    verdict.kind = Verdict::Kind::kValid;
  } catch (const std::bad_alloc&) {
    forget_tree();
    return {};
  }
  return verdict;
}

Judge::Verdict Judge::judge_in_child(TreePtr fresh, const ImageInner& like) {
  Verdict verdict;
  verdict.whole = true;
  const ChildOutcome outcome = run_in_child([&]() -> std::string {
    try {
      lyd_node* tree = fresh.release();
      const std::optional<Violation> violation = validator_.judge_whole(tree);
      if (violation) return answer_of(*violation);
      // What is shared with the edited image is no difference to it.
      return kValidLetter + difference_text(like, *judged_image(tree, like, place_matters_));
    } catch (const std::bad_alloc&) {
      return std::string(1, kFailedLetter);
    }
  });
  if (outcome.kind != ChildOutcome::Kind::kDone || outcome.result.empty()) {
    ++deaths_;
    if (outcome.kind == ChildOutcome::Kind::kSignal) {
      verdict.violation = violation_without_walk(std::move(fresh));
    }
    verdict.kind = verdict.violation ? Verdict::Kind::kInvalid : Verdict::Kind::kDied;
    verdict.text = outcome.in_words();
    return verdict;
  }
  if (outcome.result.front() == kInvalidLetter) {
    verdict.kind = Verdict::Kind::kInvalid;
    verdict.violation = violation_of(outcome.result);
    return verdict;
  }
  if (outcome.result.front() != kValidLetter) return verdict;
  ImagePtr image = ImagePtr::share(&like);
  const text::Done done = apply_text(std::string_view(outcome.result).substr(1), image);
  if (!done.ok()) {
    verdict.kind = Verdict::Kind::kDied;
    verdict.text = done.failure().line();
    return verdict;
  }
  verdict.image = std::move(image);
  verdict.kind = Verdict::Kind::kValid;
  return verdict;
}

// libyang's walk takes conditions in no certain order, so it may die of one that an outer condition
// makes void. What the Set does wrong is found where conditions are judged in their order.
std::optional<Violation> Judge::violation_without_walk(TreePtr fresh) {
  const ChildOutcome outcome = run_in_child([&]() -> std::string {
    lyd_node* tree = fresh.release();
    const std::optional<Violation> violation = validator_.find_violation(tree);
    return violation ? answer_of(*violation) : std::string(1, kFailedLetter);
  });
  const bool is_found = outcome.kind == ChildOutcome::Kind::kDone && !outcome.result.empty() &&
                        outcome.result.front() == kInvalidLetter;
  return is_found ? std::optional(violation_of(outcome.result)) : std::nullopt;
}

void Judge::keep() {
  for (const TreeChange& change : changes_) {
    if (change.kind == TreeChange::Kind::kCreated) {
      nodes_ += count_tree(change.node);
    } else if (change.kind == TreeChange::Kind::kDeleted) {
      const std::size_t gone = count_tree(change.node);
      nodes_ -= std::min(gone, nodes_);
    }
  }
  changes_.clear();
  is_new_tree_ = false;
}

void Judge::take_back() {
  if (is_new_tree_) return forget_tree();
  if (!undo_changes(tree_, changes_)) forget_tree();
}

}  // namespace nexa::store
