// Generated trees of published modules: the JSON and the XML are libyang's, the overlay of two
// trees is the tree that they were taken from, and every leaf is found again under its path.
// NEXA_ORACLE_SEED sets the seed.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <random>
#include <set>

#include "real/yang_folders.h"
#include "store/image/image_import.h"
#include "store/image/image_xml.h"
#include "store/reading/json_value.h"
#include "store/reading/typed_value.h"
#include "support/instance_generator.h"
#include "support/targets.h"
#include "translate/path_string.h"

namespace nexa::store {
namespace json_value_oracle_test {

constexpr std::size_t kLeaves = 800;  // drawn from a schema that has more
constexpr JsonForm kIetf{DataPart::kAll, true};

unsigned seed() {
  const char* text = std::getenv("NEXA_ORACLE_SEED");
  return text != nullptr ? static_cast<unsigned>(std::strtoul(text, nullptr, 10)) : 20261121U;
}

// libyang writes the escapes of RFC 8259 by number where there is a short form.
std::string with_short_escapes(std::string_view json) {
  const std::pair<std::string_view, std::string_view> forms[] = {
      {"\\u0009", "\\t"}, {"\\u000A", "\\n"}, {"\\u000D", "\\r"}, {"\\u007F", "\x7F"}};
  std::string result;
  while (!json.empty()) {
    std::size_t taken = json.front() == '\\' && json.size() > 1 ? 2 : 1;
    std::string_view written = json.substr(0, taken);
    for (const auto& [by_number, shorter] : forms) {
      if (json.substr(0, by_number.size()) != by_number) continue;
      taken = by_number.size();
      written = shorter;
    }
    result += written;
    json.remove_prefix(taken);
  }
  return result;
}

TreePtr copy_of(const lyd_node* tree) {
  lyd_node* copy = nullptr;
  if (tree != nullptr) {
    EXPECT_EQ(lyd_dup_siblings(tree, nullptr, LYD_DUP_RECURSIVE, &copy), LY_SUCCESS);
  }
  return TreePtr(copy);
}

// libyang 2.1 has no XML for some XPath expressions that a union took.
constexpr char kNotPrinted[] = "(not printed)";

// The texts of the top-level nodes in the order of the schema; libyang has an order of its own.
std::vector<std::string> parts_by_libyang(const lyd_node* tree, LYD_FORMAT format) {
  std::map<std::uint32_t, lyd_node*> parts;
  for (lyd_node* node = copy_of(tree).release(); node != nullptr;) {
    lyd_node* const next = node->next;
    lyd_unlink_tree(node);
    lyd_node*& part = parts[schema_number(node->schema)];
    EXPECT_EQ(lyd_insert_sibling(part, node, &part), LY_SUCCESS);
    node = next;
  }
  std::vector<std::string> texts;
  for (const auto& [number, part] : parts) {
    const TreePtr owner(part);
    char* text = nullptr;
    const LY_ERR done =
        lyd_print_mem(&text, part, format, LYD_PRINT_WITHSIBLINGS | LYD_PRINT_SHRINK);
    const TextPtr text_owner(text);
    texts.emplace_back(done == LY_SUCCESS && text != nullptr ? text : kNotPrinted);
  }
  return texts;
}

std::string printed_by_libyang(const lyd_node* tree) {
  std::string json;
  for (const std::string& part : parts_by_libyang(tree, LYD_JSON)) {
    const std::string members = part.substr(1, part.size() - 2);
    if (!members.empty()) json += (json.empty() ? "" : ",") + members;
  }
  return "{" + with_short_escapes(json) + "}";
}

std::string printed(const lyd_node* config, const lyd_node* state, const JsonForm& form) {
  std::string json;
  append_tree({image_of_tree(config).get(), image_of_tree(state).get()}, form, json);
  return json;
}

TreePtr parsed(const std::string& json) {
  lyd_node* tree = nullptr;
  EXPECT_EQ(lyd_parse_data_mem(kestrel::context(), json.c_str(), LYD_JSON,
                               LYD_PARSE_ONLY | LYD_PARSE_STRICT, 0, &tree),
            LY_SUCCESS)
      << json;
  return TreePtr(tree);
}

// Frees leaves of the tree, each with one chance in two: never keys, and never instances that may
// repeat, which are not alike in two trees. The same nodes stay for the same `keep`.
void thin_out(TreePtr& tree, bool keep, std::mt19937 random) {
  std::vector<lyd_node*> doomed;
  for (lyd_node* top = tree.get(); top != nullptr; top = top->next) {
    lyd_node* node = nullptr;
    LYD_TREE_DFS_BEGIN(top, node) {
      if (node->schema->nodetype == LYS_LEAF && !lysc_is_key(node->schema)) {
        if ((random() % 2 == 0) == keep) doomed.push_back(node);
      }
      LYD_TREE_DFS_END(top, node);
    }
  }
  for (lyd_node* node : doomed) {
    if (node == tree.get()) {
      lyd_node* rest = tree.release();
      rest = rest->next;
      tree.reset(rest);
    }
    lyd_free_tree(node);
  }
}

// A key that is "*" names every entry.
bool has_star(const gnmi::Path& path) {
  for (const gnmi::PathElem& element : path.elem()) {
    for (const auto& [name, value] : element.key()) {
      if (value == "*") return true;
    }
  }
  return false;
}

// Frees the nodes below which `is_doomed` says so; top-level ones stay.
template <typename Judge>
void drop_if(TreePtr& tree, Judge&& is_doomed) {
  std::vector<lyd_node*> doomed;
  for (lyd_node* top = tree.get(); top != nullptr; top = top->next) {
    lyd_node* node = nullptr;
    LYD_TREE_DFS_BEGIN(top, node) {
      LYD_TREE_DFS_continue = 0;
      if (node->parent != nullptr && is_doomed(node)) {
        doomed.push_back(node);
        LYD_TREE_DFS_continue = 1;
      }
      LYD_TREE_DFS_END(top, node);
    }
  }
  for (lyd_node* node : doomed) lyd_free_tree(node);
}

// The generator may take a key twice.
void drop_second_entries(TreePtr& tree) {
  std::set<std::string> seen;
  drop_if(tree, [&](const lyd_node* node) {
    const TextPtr path(lyd_path(node, LYD_PATH_STD, nullptr, 0));
    return !seen.insert(path.get()).second;
  });
}

// The tree without instances that may repeat: two trees have each of them twice.
void drop_repeated(TreePtr& tree) {
  drop_if(tree, [](const lyd_node* node) { return lysc_is_dup_inst_list(node->schema); });
}

class JsonOracle : public testing::TestWithParam<std::vector<std::string>> {
 protected:
  void SetUp() override {
    kestrel::LoadOptions options;
    for (const std::string& folder : GetParam()) {
      const nexa_test::YangFolder needed{"", folder};
      if (!nexa_test::has_modules(needed)) GTEST_SKIP() << nexa_test::absent(needed);
      options.search_dirs.push_back(folder);
    }
    ASSERT_FALSE(kestrel::load(options).has_value());
    number_schema();
    for (const lysc_node* node : nexa_test::data_nodes(kestrel::context())) {
      if ((node->nodetype & (LYS_LEAF | LYS_LEAFLIST)) == 0 || !nexa_test::can_have_value(node)) {
        continue;
      }
      leaves_.push_back(node);
    }
    std::shuffle(leaves_.begin(), leaves_.end(), random_);
    leaves_.resize(std::min(leaves_.size(), kLeaves));
  }

  // A tree that holds instances of `count` more leaves of the schema.
  TreePtr next_tree(std::size_t count) {
    lyd_node* tree = nullptr;
    for (; count > 0 && next_ < leaves_.size(); --count, ++next_) {
      const auto update = generator_.update_with(leaves_[next_], nexa_test::Forms::kStrict);
      if (!update) continue;
      const TreePtr part = parsed(update->whole_tree);
      if (part != nullptr) {
        EXPECT_EQ(lyd_merge_siblings(&tree, part.get(), 0), LY_SUCCESS);
        ++made_;
      }
    }
    TreePtr owner(tree);
    drop_second_entries(owner);
    return owner;
  }

  std::mt19937 random_{seed()};
  nexa_test::InstanceGenerator generator_{kestrel::context(), seed()};
  std::vector<const lysc_node*> leaves_;
  std::size_t next_ = 0;
  std::size_t made_ = 0;
};

// Instances of one list or leaf-list stand side by side, which the searches rely on.
void expect_grouped(const lyd_node* first) {
  std::set<const lysc_node*> seen;
  for (const lyd_node* node = first; node != nullptr; node = node->next) {
    if (node->prev->next != nullptr && node->prev->schema == node->schema) continue;
    EXPECT_TRUE(seen.insert(node->schema).second) << node->schema->name;
  }
  for (const lyd_node* node = first; node != nullptr; node = node->next) {
    if (lyd_child(node) != nullptr) expect_grouped(lyd_child(node));
  }
}

TEST_P(JsonOracle, PrintsWhatLibyangPrints) {
  generator_ = nexa_test::InstanceGenerator(kestrel::context(), seed());
  for (TreePtr tree = next_tree(40); tree != nullptr; tree = next_tree(40)) {
    expect_grouped(tree.get());
    ASSERT_EQ(printed(tree.get(), nullptr, kIetf), printed_by_libyang(tree.get()));
    ASSERT_EQ(printed(nullptr, tree.get(), kIetf), printed_by_libyang(tree.get()));
  }
  EXPECT_GT(made_, leaves_.size() / 2);
}

TEST_P(JsonOracle, WritesTheXmlThatLibyangWrites) {
  generator_ = nexa_test::InstanceGenerator(kestrel::context(), seed() + 4);
  std::size_t compared = 0;
  for (TreePtr tree = next_tree(10); tree != nullptr; tree = next_tree(10)) {
    std::string expected = "<config>";
    for (const std::string& part : parts_by_libyang(tree.get(), LYD_XML)) expected += part;
    if (expected.find(kNotPrinted) != std::string::npos) continue;
    ++compared;
    ASSERT_EQ(configuration_xml(*image_of_tree(tree.get())), expected + "</config>");
  }
  EXPECT_GT(compared, 10U);
}

TEST_P(JsonOracle, TwoHalvesMakeTheWhole) {
  generator_ = nexa_test::InstanceGenerator(kestrel::context(), seed() + 1);
  for (TreePtr tree = next_tree(40); tree != nullptr; tree = next_tree(40)) {
    TreePtr config = copy_of(tree.get());
    TreePtr state = copy_of(tree.get());
    drop_repeated(state);
    thin_out(config, true, random_);
    thin_out(state, false, random_);
    random_.discard(1);
    const TreePtr again = parsed(printed(config.get(), state.get(), kIetf));
    lyd_node* merged = copy_of(config.get()).release();
    ASSERT_EQ(lyd_merge_siblings(&merged, state.get(), 0), LY_SUCCESS);
    const TreePtr expected(merged);
    // Containers that were thinned out to nothing are in neither text.
    ASSERT_EQ(printed_by_libyang(again.get()), printed_by_libyang(expected.get()));
  }
  EXPECT_GT(made_, leaves_.size() / 2);
}

TEST_P(JsonOracle, EveryLeafIsFoundUnderItsPath) {
  generator_ = nexa_test::InstanceGenerator(kestrel::context(), seed() + 2);
  std::size_t checked = 0;
  for (TreePtr tree = next_tree(40); tree != nullptr; tree = next_tree(40)) {
    std::vector<std::pair<gnmi::Path, std::string>> leaves;
    const ImagePtr image = image_of_tree(tree.get());
    for_each_leaf_of_tree({image.get(), nullptr}, {},
                          [&](gnmi::Path& path, gnmi::TypedValue& value) {
                            leaves.emplace_back(std::move(path), value.json_ietf_val());
                          });
    for (const auto& leaf : leaves) {
      const auto& path = leaf.first;
      const auto& json = leaf.second;
      if (has_star(path)) continue;
      bool is_there = false;
      std::size_t found = 0;
      const auto look = [&](const NodePair& node, gnmi::Path& concrete) {
        ++found;
        std::string value;
        EXPECT_TRUE(append_value(node, kIetf, value));
        if (value == json) is_there = true;
        EXPECT_EQ(translate::format_path_string(concrete), translate::format_path_string(path));
      };
      const auto target =
          nexa_test::loaded_model().strict.resolve(gnmi::Path(), path, model::Purpose::kRead);
      ASSERT_TRUE(target.ok()) << target.failure().rule;
      select_nodes(target.value(), image.get(), nullptr, look, LeafLists::kWhole);
      ASSERT_TRUE(is_there) << translate::format_path_string(path) << " " << json << " of "
                            << found;
      ++checked;
    }
  }
  EXPECT_GT(checked, leaves_.size() / 2);
}

TEST_P(JsonOracle, PartsMakeTheWhole) {
  generator_ = nexa_test::InstanceGenerator(kestrel::context(), seed() + 3);
  for (TreePtr tree = next_tree(40); tree != nullptr; tree = next_tree(40)) {
    const ImagePtr image = image_of_tree(tree.get());
    std::multiset<std::string> whole;
    std::multiset<std::string> parts;
    const auto collect = [&](DataPart part, std::multiset<std::string>& into) {
      for_each_leaf_of_tree(
          {image.get(), nullptr}, {part}, [&](gnmi::Path& path, gnmi::TypedValue& value) {
            into.insert(translate::format_path_string(path) + value.json_ietf_val());
          });
    };
    collect(DataPart::kAll, whole);
    collect(DataPart::kConfig, parts);
    collect(DataPart::kState, parts);
    ASSERT_EQ(whole, parts);
  }
  EXPECT_GT(made_, leaves_.size() / 2);
}

INSTANTIATE_TEST_SUITE_P(
    Folders, JsonOracle,
    testing::Values(std::vector<std::string>{"/usr/share/yuma/nmda-modules/ietf",
                                             "/usr/share/yuma/modules/ietf"},
                    std::vector<std::string>{nexa_test::openconfig_folder().path}),
    [](const auto& set) { return set.index == 0 ? "Ietf" : "OpenConfig"; });

}  // namespace json_value_oracle_test
}  // namespace nexa::store
