// Applies a change to a tree the way the store does, and judges it twice: by the check of the
// change, and by libyang over a tree made anew from what is configured. The two have to agree on
// the verdict and on the tree; what the check did can be taken back.
#ifndef TESTS_STORE_VALIDATION_FIXTURE_H_
#define TESTS_STORE_VALIDATION_FIXTURE_H_

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "real/temp_folder.h"
#include "store/tree_sync.h"
#include "store/validation/validation.h"
#include "tree_content.h"

namespace nexa::store {

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

inline std::size_t count_nodes(const lyd_node* tree) {
  std::size_t count = 0;
  for (; tree != nullptr; tree = tree->next) count += 1 + count_nodes(lyd_child(tree));
  return count;
}

inline bool has_private_data(const lyd_node* tree) {
  for (; tree != nullptr; tree = tree->next) {
    if (tree->priv != nullptr || has_private_data(lyd_child(tree))) return true;
  }
  return false;
}

// Whether the nodes of `one` carry the same flags as their likes in `other`.
inline bool have_equal_flags(const lyd_node* one, const lyd_node* other) {
  for (const lyd_node* node = one; node != nullptr; node = node->next) {
    const lyd_node* const match = find_match(other, node);
    if (match == nullptr) return false;
    if (match->flags != node->flags) {
      ADD_FAILURE() << node->schema->name << " " << node->flags << " " << match->flags;
      return false;
    }
    if (!have_equal_flags(lyd_child(node), lyd_child(match))) return false;
  }
  return true;
}

struct Judgement {
  Validator::Outcome outcome;          // of the change
  std::optional<Violation> reference;  // of the whole tree
  // What the client is told: of the whole tree, where the change could not be judged by itself.
  const std::optional<Violation>& violation() const {
    return outcome.needs_whole ? reference : outcome.violation;
  }
  std::string rule() const { return violation() ? violation()->rule : "valid"; }
  std::string path() const { return violation() ? violation()->path : ""; }
};

// A valid tree, and changes to it.
class Configuration {
 public:
  // What the loaded schema holds by itself.
  Configuration() : validator_(std::make_unique<Validator>()) { set(""); }

  // Makes the tree what `xml` says; it has to be valid.
  void set(const std::string& xml) {
    tree_ = parse(xml);
    mark(tree_.get(), nullptr);
    const std::optional<Violation> violation = judge_whole(tree_);
    ASSERT_FALSE(violation) << violation->path << ": " << violation->rule;
  }

  // What `edit` makes of the tree, judged both ways; kept when it is valid.
  Judgement change(const std::function<void(TreePtr&)>& edit) {
    TreePtr edited = copy(tree_.get());
    edit(edited);
    drop_empty(edited, edited.get(), tree_.get());
    const TreePtr old = copy(tree_.get());
    Judgement judgement;
    // Once to take it back, once to keep it.
    judge(edited.get(), judgement.outcome);
    const std::string quick = print(tree_.get());
    take_back(old.get());
    TreePtr whole = copy(edited.get());
    strip_defaults(whole);
    mark(whole.get(), tree_.get());
    judgement.reference = judge_whole(whole);
    if (judgement.outcome.needs_whole) {
      if (!judgement.reference) tree_ = std::move(whole);
      return judgement;
    }
    if (is_silent_loss(judgement, edited.get(), whole.get())) return judgement;
    EXPECT_EQ(judgement.outcome.violation.has_value(), judgement.reference.has_value())
        << text(judgement) << "\nold:\n"
        << print(old.get()) << "edited:\n"
        << print(edited.get()) << "whole:\n"
        << print(whole.get());
    if (judgement.outcome.violation || judgement.reference) return judgement;
    Validator::Outcome again;
    judge(edited.get(), again);
    changes_.clear();
    // The whole tree has shown nodes that a constraint may be asked for.
    if (again.needs_whole) {
      tree_ = std::move(whole);
      return judgement;
    }
    EXPECT_FALSE(again.violation);
    EXPECT_TRUE(nexa_test::same_content(tree_.get(), whole.get(), true))
        << "old:\n"
        << print(old.get()) << "edited:\n"
        << print(edited.get()) << "quick:\n"
        << quick << "whole:\n"
        << print(whole.get());
    EXPECT_TRUE(have_equal_flags(tree_.get(), whole.get()));
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
  // Containers without presence come with what they hold.
  static void drop_empty(TreePtr& tree, lyd_node* first, const lyd_node* before) {
    for (lyd_node* node = first; node != nullptr;) {
      lyd_node* const next = node->next;
      const lyd_node* const match = find_match(before, node);
      if (match == nullptr && is_plain_container(node) && !nexa_test::has_explicit_content(node)) {
        if (node == tree.get()) {
          static_cast<void>(tree.release());
          tree.reset(next);
        }
        lyd_unlink_tree(node);
        lyd_free_tree(node);
      } else {
        drop_empty(tree, lyd_child(node), match != nullptr ? lyd_child(match) : nullptr);
      }
      node = next;
    }
  }

  // Makes the tree what was edited and judges that.
  void judge(const lyd_node* edited, Validator::Outcome& outcome) {
    lyd_node* tree = tree_.release();
    bring_in_step(tree, edited, changes_);
    outcome = validator_->judge_change(tree, changes_);
    tree_.reset(tree);
    EXPECT_FALSE(has_private_data(tree_.get()));
  }

  void take_back(const lyd_node* old) {
    lyd_node* tree = tree_.release();
    EXPECT_TRUE(undo_changes(tree, changes_));
    tree_.reset(tree);
    EXPECT_TRUE(nexa_test::same_content(tree_.get(), old, true))
        << "taken back:\n"
        << print(tree_.get()) << "before:\n"
        << print(old);
    EXPECT_TRUE(have_equal_flags(tree_.get(), old));
    EXPECT_FALSE(has_private_data(tree_.get()));
    // Rules may depend on the order of entries, which is not taken back where the system orders.
    tree_ = copy(old);
  }

  std::optional<Violation> judge_whole(TreePtr& tree) {
    lyd_node* top = tree.release();
    std::optional<Violation> violation = validator_->judge_whole(top);
    tree.reset(top);
    if (!violation) {
      EXPECT_FALSE(has_private_data(top));
    }
    return violation;
  }

  void mark(lyd_node* first, const lyd_node* before) {
    for (lyd_node* node = first; node != nullptr; node = node->next) {
      const lyd_node* const match = find_match(before, node);
      validator_->mark_node(node, match == nullptr);
      const bool is_term = (node->schema->nodetype & LYD_NODE_TERM) != 0;
      if (match != nullptr && is_term &&
          ((match->flags & LYD_DEFAULT) != 0 || lyd_compare_single(node, match, 0) != LY_SUCCESS)) {
        validator_->mark_changed(node);
      }
      mark(lyd_child(node), match != nullptr ? lyd_child(match) : nullptr);
    }
  }

  // Whether the walk over the whole tree took out without a word what the change gives; the store
  // itself refuses such a change. With conditions that depend on each other and the choices around
  // them, that walk cannot always tell what was given.
  static bool is_silent_loss(const Judgement& judgement, const lyd_node* edited,
                             const lyd_node* whole) {
    if (!judgement.outcome.violation || judgement.reference) return false;
    const std::string path = judgement.path();
    lyd_node* given = nullptr;
    lyd_node* left = nullptr;
    return judgement.rule().rfind("when ", 0) == 0 &&
           lyd_find_path(edited, path.c_str(), 0, &given) == LY_SUCCESS &&
           lyd_find_path(whole, path.c_str(), 0, &left) != LY_SUCCESS;
  }

  static std::string text(const Judgement& judgement) {
    const auto verdict = [](const std::optional<Violation>& violation) {
      return violation ? violation->path + ": " + violation->rule : std::string("valid");
    };
    return "change: " + verdict(judgement.outcome.violation) +
           "\nwhole: " + verdict(judgement.reference) + "\n";
  }

  std::unique_ptr<Validator> validator_;
  TreePtr tree_;
  TreeChanges changes_;
};

}  // namespace nexa::store

#endif  // TESTS_STORE_VALIDATION_FIXTURE_H_
