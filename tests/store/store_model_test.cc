// Random transactions against a naive model: a copy of the whole tree, libyang's own merge, and
// validation of everything. After each one the store, what a reader sees with defaults, and what a
// second start makes of the log are the model's.
#include <algorithm>
#include <filesystem>
#include <random>
#include <set>

#include "store/image/image_import.h"
#include "store/image/image_xml.h"
#include "store/reading/typed_value.h"
#include "store/validation/validation.h"
#include "store_fixture.h"
#include "tree_content.h"

namespace store_model_test {

using namespace nexa_test;
using nexa::store::TreePtr;

constexpr int kTransactions = 600;
constexpr int kReplayEvery = 20;

class Random {
 public:
  explicit Random(unsigned seed) : engine_(seed) {}
  int below(int limit) { return std::uniform_int_distribution<int>(0, limit - 1)(engine_); }
  bool once_in(int number) { return below(number) == 0; }
  std::string number(int limit) { return std::to_string(below(limit)); }

 private:
  std::mt19937 engine_;
};

std::string element(const std::string& name, const std::string& content) {
  return "<" + name + ">" + content + "</" + name + ">";
}

std::string port(Random& random, const std::string& id) {
  std::string inner = element("id", id);
  if (random.once_in(2)) inner += element("mode", random.once_in(2) ? "a" : "b");
  if (random.once_in(4)) inner += element("peer", random.number(4));
  if (random.once_in(4)) inner += element("note", "n" + random.number(3));
  if (random.once_in(3)) inner += element("inner", element("deep", random.number(3)));
  return element("port", inner);
}

std::string rule(Random& random, const std::string& id) {
  return element("rule",
                 element("id", id) + (random.once_in(2) ? element("text", random.number(3)) : ""));
}

// Instances of a list or leaf-list with different keys, in a random order.
template <typename Make>
std::string some(Random& random, Make make) {
  std::vector<int> ids{0, 1, 2, 3, 4};
  std::string text;
  const int count = random.below(4);
  for (int i = 0; i < count; ++i) {
    const auto at = ids.begin() + random.below(static_cast<int>(ids.size()));
    text += make(std::to_string(*at));
    ids.erase(at);
  }
  return text;
}

std::string leaf_list(Random& random, const std::string& name) {
  return some(random, [&](const std::string& value) { return element(name, value); });
}

std::string limits(Random& random) {
  std::string inner;
  if (random.once_in(2)) inner += element("low", random.number(20));
  if (random.once_in(3)) inner += element("high", random.number(20));
  return element("limits", inner);
}

std::string choice(Random& random) {
  switch (random.below(3)) {
    case 0:
      return element("colour", random.once_in(2) ? "red" : "blue");
    case 1:
      return element("shine", random.number(3));
    default:
      return element("box", random.once_in(3) ? "" : element("lid", "l"));
  }
}

std::string presence(Random& random) {
  return element("on", (random.once_in(4) ? "" : element("must-be", "m")) +
                           (random.once_in(2) ? element("level", random.number(5)) : ""));
}

std::string content(Random& random) {
  std::string text;
  if (random.once_in(3)) text += element("name", "n" + random.number(3));
  if (random.once_in(3)) text += element("speed", random.once_in(2) ? "100" : random.number(9));
  if (random.once_in(5)) text += element("address", "AQ==");
  if (random.once_in(3)) text += limits(random);
  if (random.once_in(2)) {
    text += some(random, [&](const std::string& id) { return port(random, id); });
  }
  if (random.once_in(2)) {
    text += some(random, [&](const std::string& id) { return rule(random, id); });
  }
  if (random.once_in(3)) text += leaf_list(random, "tag");
  if (random.once_in(3)) text += leaf_list(random, "order");
  if (random.once_in(4)) text += leaf_list(random, "def");
  if (random.once_in(4)) text += choice(random);
  if (random.once_in(5)) text += presence(random);
  if (random.once_in(6)) {
    text += element("vendor", "<z xmlns=\"urn:z\">" + random.number(3) + "</z>");
  }
  return text;
}

Edit random_replace(Random& random) {
  const std::string id = random.number(5);
  switch (random.below(7)) {
    case 0:
      return put("/", content(random));
    case 1:
      return put("/top", content(random));
    case 2:
      return put("/top/limits", limits(random));
    case 3:
      return put("/top/port[id=" + id + "]", port(random, id));
    case 4:
      return put("/top/rule[id=" + id + "]", rule(random, id));
    case 5:
      return put("/top/rule",
                 some(random, [&](const std::string& each) { return rule(random, each); }));
    default:
      return put("/top/order", leaf_list(random, "order"));
  }
}

Edit random_delete(Random& random) {
  const std::string id = random.number(5);
  const std::vector<std::string> paths{"/top/name",
                                       "/top/speed",
                                       "/top/limits",
                                       "/top/limits/low",
                                       "/top/port",
                                       "/top/port[id=" + id + "]",
                                       "/top/port[id=" + id + "]/mode",
                                       "/top/port[id=" + id + "]/peer",
                                       "/top/port[id=" + id + "]/inner",
                                       "/top/rule[id=" + id + "]",
                                       "/top/rule",
                                       "/top/order",
                                       "/top/tag",
                                       "/top/def",
                                       "/top/colour",
                                       "/top/shine",
                                       "/top/box",
                                       "/top/on",
                                       "/top/on/must-be",
                                       "/top/vendor",
                                       "/top/port/peer"};
  return drop(paths[static_cast<std::size_t>(random.below(static_cast<int>(paths.size())))]);
}

Edit random_edit(Random& random) {
  const int kind = random.below(10);
  if (kind < 5) return update(content(random));
  return kind < 8 ? random_delete(random) : random_replace(random);
}

// The naive way.
class Model {
 public:
  // False when the result is not valid; nothing is changed then.
  bool apply(const std::vector<Edit>& edits) {
    bool copied = false;
    TreePtr tree = copy_tree(tree_.get(), copied);
    nexa::store::strip_defaults(tree);
    for (const Edit& edit : edits) {
      const TreePtr document =
          nexa_test::value_of(nexa::store::parse_nodes(nexa::store::inner_xml(edit.xml)));
      if (edit.kind != Edit::Kind::kUpdate) remove_target(edit, tree);
      lyd_node* top = tree.release();
      forget_given(document.get(), top);
      if (document != nullptr) {
        EXPECT_EQ(lyd_merge_siblings(&top, document.get(), LYD_MERGE_DEFAULTS), LY_SUCCESS);
      }
      // Cases of a choice give way to each edit on its own.
      drop_old_cases(top, edit, document.get());
      nexa::store::strip_defaults(tree = TreePtr(top));
    }
    lyd_node* top = tree.release();
    EXPECT_EQ(lyd_new_implicit_all(&top, kestrel::context(), LYD_IMPLICIT_NO_STATE, nullptr),
              LY_SUCCESS);
    const bool valid = !validator_.judge_whole(top).has_value();
    tree.reset(top);
    if (valid) tree_ = std::move(tree);
    return valid;
  }

  Model() { EXPECT_TRUE(apply({})); }

  const lyd_node* top() const { return tree_.get(); }
  std::string xml() const {
    return nexa::store::configuration_xml(*nexa::store::image_of_tree(tree_.get()));
  }

 private:
  static void remove_target(const Edit& edit, TreePtr& tree) {
    if (edit.target.path.elem().empty()) {
      tree.reset();
      return;
    }
    std::string xpath;
    for (const gnmi::PathElem& element : edit.target.path.elem()) {
      xpath += "/s:" + element.name();
      for (const auto& [key, value] : element.key()) xpath += "[" + key + "='" + value + "']";
    }
    lyd_node* top = tree.release();
    if (top != nullptr) {
      ly_set* found = nullptr;
      EXPECT_EQ(lyd_find_xpath(top, xpath.c_str(), &found), LY_SUCCESS);
      const nexa::store::SetPtr set(found);
      const bool keyed = edit.target.path.elem(edit.target.path.elem_size() - 1).key_size() != 0;
      for (std::uint32_t i = 0; i < set->count; ++i) {
        if (edit.kind == Edit::Kind::kReplace && keyed) {
          while (lyd_node* const child = lyd_child_no_keys(set->dnodes[i])) lyd_free_tree(child);
        } else {
          nexa::store::remove_node(top, set->dnodes[i]);
        }
      }
    }
    tree.reset(top);
  }

  // What a document gives is new, also where it was there: a when must not take it silently.
  static void forget_given(const lyd_node* document, lyd_node* top) {
    for (const lyd_node* node = document; node != nullptr; node = node->next) {
      lyd_node* const match = nexa::store::find_match(top, node);
      if (match == nullptr || nexa::store::is_key(node)) continue;
      if (node->schema->nodetype == LYS_LEAF) {
        if (match == top) top = top->next;
        lyd_free_tree(match);
        continue;
      }
      if ((node->schema->nodetype & (LYS_CONTAINER | LYS_LIST)) != 0) {
        forget_given(lyd_child(node), lyd_child(match));
      }
    }
  }

  static void drop_old_cases(lyd_node*& top, const Edit& edit, const lyd_node* document) {
    if (edit.kind == Edit::Kind::kDelete || document == nullptr) return;
    const auto holds = [](const lyd_node* parent, const char* name) {
      for (const lyd_node* node = lyd_child(parent); node != nullptr; node = node->next) {
        if (std::string(node->schema->name) == name && (node->flags & LYD_DEFAULT) == 0) {
          return true;
        }
      }
      return false;
    };
    std::set<std::string> gone;
    if (holds(document, "colour")) gone = {"shine", "box"};
    if (holds(document, "shine") || holds(document, "box")) gone = {"colour"};
    for (lyd_node* node = lyd_child(top); node != nullptr;) {
      lyd_node* const next = node->next;
      if (gone.count(node->schema->name) != 0) nexa::store::remove_node(top, node);
      node = next;
    }
  }

  nexa::store::Validator validator_;
  TreePtr tree_;
};

// One line a leaf, sorted; the order of a leaf-list counts only where the user gives it.
std::multiset<std::string> leaf_lines(const std::string& path, std::string json) {
  if (path.find("/s:tag") != std::string::npos || path.find("/s:def") != std::string::npos ||
      path.find("/tag") != std::string::npos || path.find("/def") != std::string::npos) {
    std::sort(json.begin(), json.end());
  }
  return {path + "=" + json};
}

std::multiset<std::string> leaves_of_store(const ConfigStore& store) {
  std::multiset<std::string> lines;
  nexa::store::Query query;
  query.form = nexa::store::Form::kLeaves;
  const grpc::Status status =
      store.snapshot()->read(query, nullptr, [&](gnmi::Path& path, gnmi::TypedValue& value) {
        lines.merge(leaf_lines(nexa::translate::format_path_string(path), value.json_ietf_val()));
      });
  EXPECT_TRUE(status.ok()) << status.error_message();
  return lines;
}

std::multiset<std::string> leaves_of_model(const Model& model) {
  std::multiset<std::string> lines;
  if (model.top() == nullptr) return lines;
  nexa::store::for_each_leaf_of_tree(
      {nexa::store::image_of_tree(model.top()).get(), nullptr}, {},
      [&](gnmi::Path& path, gnmi::TypedValue& value) {
        lines.merge(leaf_lines(nexa::translate::format_path_string(path), value.json_ietf_val()));
      });
  return lines;
}

class StoreModel : public StoreTest, public testing::WithParamInterface<unsigned> {
 protected:
  // What a start after a crash would find.
  std::string replayed_xml() {
    const std::string copy = folder_.file("copy");
    std::filesystem::remove_all(copy);
    std::filesystem::create_directory(copy);
    for (const char* name : {"nexa.db", "nexa.db-wal"}) {
      std::filesystem::copy_file(directory() + "/" + name, copy + "/" + name);
    }
    nexa::store::TreeStoreOptions options;
    options.directory = copy;
    options.sync = false;
    const auto store = nexa::store::open_tree_store(options);
    return store.ok() ? store.value()->snapshot()->xml() : store.failure().line();
  }
};

TEST_P(StoreModel, IsTheModelAfterEveryTransaction) {
  Random random(GetParam());
  Model model;
  int valid = 0;
  for (int i = 0; i < kTransactions; ++i) {
    std::vector<Edit> edits;
    std::string trace;
    for (int count = 1 + random.below(3); count > 0; --count) {
      edits.push_back(random_edit(random));
      trace += std::to_string(static_cast<int>(edits.back().kind)) + " " +
               nexa::translate::format_path_string(edits.back().target.path) + " " +
               edits.back().xml + "\n";
    }
    const std::string before = model.xml();
    const bool accepted = model.apply(edits);
    const CommitResult result = commit(edits);
    ASSERT_EQ(result.status.ok(), accepted)
        << "transaction " << i << ": " << result.status.error_message() << "\n"
        << before << "\n"
        << trace;
    ASSERT_TRUE(same_xml(xml(), model.xml()))
        << "transaction " << i << "\nbefore " << before << "\nmodel  " << model.xml() << "\nstore  "
        << xml() << "\n"
        << trace;
    ASSERT_EQ(leaves_of_store(*store_), leaves_of_model(model)) << "transaction " << i << "\n"
                                                                << trace;
    if (accepted) ++valid;
    if (i % kReplayEvery == 0) {
      ASSERT_TRUE(same_xml(replayed_xml(), xml())) << "transaction " << i << "\n" << trace;
    }
  }
  EXPECT_GT(valid, kTransactions / 10);
}

INSTANTIATE_TEST_SUITE_P(Seeds, StoreModel, testing::Values(1U, 2U, 3U));

}  // namespace store_model_test
