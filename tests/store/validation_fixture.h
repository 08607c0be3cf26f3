// Applies a change to a tree the way the store does, and judges it twice: by the check of the
// change, and by libyang over all of a duplicate.
#ifndef TESTS_STORE_VALIDATION_FIXTURE_H_
#define TESTS_STORE_VALIDATION_FIXTURE_H_

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "real/temp_folder.h"
#include "store/validation/validation.h"

namespace nexa::host {

inline TreePtr parse(const std::string& xml) {
  lyd_node* tree = nullptr;
  if (xml.empty()) return nullptr;
  const LY_ERR status = lyd_parse_data_mem(kestrel::context(), xml.c_str(), LYD_XML,
                                           LYD_PARSE_ONLY | LYD_PARSE_STRICT, 0, &tree);
  EXPECT_EQ(status, LY_SUCCESS) << xml << ly_errmsg(kestrel::context());
  return TreePtr(tree);
}

// With defaults, which are marked as such.
inline std::string print(const lyd_node* tree) {
  char* text = nullptr;
  lyd_print_mem(&text, tree, LYD_XML,
                LYD_PRINT_WITHSIBLINGS | LYD_PRINT_WD_ALL_TAG | LYD_PRINT_KEEPEMPTYCONT);
  const TextPtr owned(text);
  return text != nullptr ? text : "";
}

inline TreePtr copy(const lyd_node* tree) {
  lyd_node* made = nullptr;
  if (tree != nullptr) {
    lyd_dup_siblings(tree, nullptr, LYD_DUP_RECURSIVE | LYD_DUP_WITH_FLAGS, &made);
  }
  return TreePtr(made);
}

// Takes out what only stands below a moved entry: libyang does not apply a diff that holds an empty
// container without an operation. True when the node says anything itself.
inline bool prune(lyd_node* node) {
  bool is_needed = lyd_find_meta(node->meta, nullptr, "yang:operation") != nullptr;
  lyd_node* next = nullptr;
  for (lyd_node* child = lyd_child_no_keys(node); child != nullptr; child = next) {
    next = child->next;
    const lyd_meta* const operation = lyd_find_meta(node->meta, nullptr, "yang:operation");
    const bool is_move =
        operation != nullptr && std::string(lyd_get_meta_value(operation)) == "replace";
    const bool is_inherited = is_needed && !is_move && operation != nullptr &&
                              std::string(lyd_get_meta_value(operation)) != "none";
    if (is_inherited || prune(child)) {
      is_needed = true;
    } else {
      lyd_unlink_tree(child);
      lyd_free_tree(child);
    }
  }
  return is_needed;
}

inline TreePtr difference(const lyd_node* before, const lyd_node* after) {
  lyd_node* diff = nullptr;
  EXPECT_EQ(lyd_diff_siblings(before, after, LYD_DIFF_DEFAULTS, &diff), LY_SUCCESS);
  for (lyd_node* node = diff; node != nullptr; node = node->next) prune(node);
  return TreePtr(diff);
}

inline void apply_diff(TreePtr& tree, const lyd_node* diff) {
  lyd_node* first = tree.release();
  EXPECT_EQ(lyd_diff_apply_all(&first, diff), LY_SUCCESS)
      << ly_errmsg(kestrel::context()) << print(diff) << print(first);
  tree.reset(first);
}

inline bool are_equal(const lyd_node* one, const lyd_node* other) {
  if (one == nullptr || other == nullptr) return one == other;
  return lyd_compare_siblings(one, other, LYD_COMPARE_FULL_RECURSION | LYD_COMPARE_DEFAULTS) ==
         LY_SUCCESS;
}

struct Judgement {
  Validator::Outcome outcome;    // of the change
  Validator::Outcome reference;  // of the whole tree
  std::string rule() const { return outcome.violation ? outcome.violation->rule : "valid"; }
  std::string path() const { return outcome.violation ? outcome.violation->path : ""; }
};

// A valid tree, and changes to it.
class Configuration {
 public:
  // An empty tree over the loaded schema.
  Configuration() : validator_(std::make_unique<Validator>()) {}

  // Makes the tree what `xml` says; it has to be valid.
  void set(const std::string& xml) {
    tree_ = parse(xml);
    Validator::Outcome outcome;
    lyd_node* tree = tree_.release();
    outcome = validator_->validate_all(tree);
    tree_.reset(tree);
    ASSERT_FALSE(outcome.violation) << outcome.violation->path << ": " << outcome.violation->rule;
  }

  // What `edit` makes of the tree, judged both ways; kept when it is valid.
  Judgement change(const std::function<void(TreePtr&)>& edit) {
    TreePtr edited = copy(tree_.get());
    edit(edited);
    const TreePtr diff = difference(tree_.get(), edited.get());
    TreePtr quick = copy(tree_.get());
    TreePtr whole = copy(tree_.get());
    if (diff != nullptr) {
      apply_diff(quick, diff.get());
      apply_diff(whole, diff.get());
    }
    const TreePtr applied = copy(quick.get());
    Judgement judgement;
    judgement.outcome = judge(quick, diff.get());
    judgement.reference = judge(whole, nullptr);
    if (is_silent_loss(judgement, applied.get(), whole.get())) return judgement;
    EXPECT_EQ(judgement.outcome.violation.has_value(), judgement.reference.violation.has_value())
        << text(judgement, diff.get());
    if (judgement.outcome.violation || judgement.reference.violation) return judgement;
    EXPECT_TRUE(are_equal(quick.get(), whole.get())) << text(judgement, diff.get()) << "\nquick:\n"
                                                     << print(quick.get()) << "\nwhole:\n"
                                                     << print(whole.get());
    expect_changes(applied, judgement.outcome.changes.get(), quick.get());
    tree_ = std::move(quick);
    return judgement;
  }

  // Merges a document; a leaf that is there takes the new value.
  Judgement merge(const std::string& xml) {
    return change([&xml](TreePtr& tree) {
      const TreePtr source = parse(xml);
      lyd_node* target = tree.release();
      EXPECT_EQ(lyd_merge_siblings(&target, source.get(), 0), LY_SUCCESS);
      tree.reset(target);
    });
  }

  // Deletes the node that a path leads to; `path` is the test's own.
  Judgement remove(const std::string& path) {
    return change([&path](TreePtr& tree) {
      lyd_node* node = nullptr;
      ASSERT_EQ(lyd_find_path(tree.get(), path.c_str(), 0, &node), LY_SUCCESS) << path;
      if (node == tree.get()) tree.reset((static_cast<void>(tree.release()), node->next));
      lyd_unlink_tree(node);
      lyd_free_tree(node);
    });
  }

  const lyd_node* tree() const { return tree_.get(); }
  Validator& validator() { return *validator_; }

 private:
  Validator::Outcome judge(TreePtr& tree, const lyd_node* diff) {
    lyd_node* first = tree.release();
    Validator::Outcome outcome = diff != nullptr ? validator_->validate_change(first, diff)
                                                 : validator_->validate_all(first);
    tree.reset(first);
    return outcome;
  }

  // Whether the walk over the whole tree took out without a word what the change gives; the store
  // itself refuses such a change. With conditions that depend on each other and the choices around
  // them, that walk cannot always tell what was given.
  static bool is_silent_loss(const Judgement& judgement, const lyd_node* applied,
                             const lyd_node* whole) {
    if (!judgement.outcome.violation || judgement.reference.violation) return false;
    const std::string path = judgement.path();
    lyd_node* given = nullptr;
    lyd_node* left = nullptr;
    return judgement.rule().rfind("when ", 0) == 0 &&
           lyd_find_path(applied, path.c_str(), 0, &given) == LY_SUCCESS &&
           lyd_find_path(whole, path.c_str(), 0, &left) != LY_SUCCESS;
  }

  // What validation reports that it changed is what it changed.
  static void expect_changes(const TreePtr& applied, const lyd_node* changes,
                             const lyd_node* result) {
    TreePtr replayed = copy(applied.get());
    if (changes != nullptr) apply_diff(replayed, changes);
    EXPECT_EQ(print(replayed.get()), print(result)) << "changes:\n"
                                                    << print(changes) << "applied to\n"
                                                    << print(applied.get());
  }

  static std::string text(const Judgement& judgement, const lyd_node* diff) {
    const auto verdict = [](const Validator::Outcome& outcome) {
      return outcome.violation ? outcome.violation->path + ": " + outcome.violation->rule
                               : std::string("valid");
    };
    return "change: " + verdict(judgement.outcome) + "\nwhole: " + verdict(judgement.reference) +
           "\n" + print(diff);
  }

  std::unique_ptr<Validator> validator_;
  TreePtr tree_;
};

}  // namespace nexa::host

#endif  // TESTS_STORE_VALIDATION_FIXTURE_H_
