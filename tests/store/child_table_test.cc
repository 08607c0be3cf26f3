// Children that come and go in one small container, as legal changes make them.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "real/temp_folder.h"
#include "store/child_table.h"
#include "store/node_tools.h"

namespace nexa::store {
namespace child_table_test {

constexpr char kModule[] =
    "module m { namespace \"urn:m\"; prefix m; container c0 { leaf-list s1 { type string; "
    "ordered-by user; } leaf-list s2 { type string; } leaf f3 { type int8; } } }";

const lysc_node* child_of(const lysc_node* parent, const std::string& name) {
  const lysc_node* child = lysc_node_child(parent);
  while (child != nullptr && name != child->name) child = child->next;
  return child;
}

class ChildTable : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(nexa_test::load_module("m", kModule), "");
    lyd_node* made = nullptr;
    const lys_module* const module = ly_ctx_get_module_implemented(kestrel::context(), "m");
    ASSERT_EQ(lyd_new_inner(nullptr, module, "c0", 0, &made), LY_SUCCESS);
    top_.reset(made);
  }

  lyd_node* find(const lysc_node* schema, const std::string& value) const {
    for (lyd_node* node = lyd_child(top_.get()); node != nullptr; node = node->next) {
      if (node->schema == schema && value == lyd_get_value(node)) return node;
    }
    return nullptr;
  }

  void toggle(const lysc_node* schema, const std::string& value) {
    if (lyd_node* const standing = find(schema, value)) {
      lyd_free_tree(standing);
      ASSERT_EQ(find(schema, value), nullptr);
      return;
    }
    lyd_node* made = nullptr;
    ASSERT_EQ(new_canonical_term(top_.get(), schema, value.c_str(), &made), LY_SUCCESS);
    // By the table, if there is one.
    lyd_node* found = nullptr;
    lyd_find_sibling_first(lyd_child(top_.get()), made, &found);
    ASSERT_EQ(found, made);
  }

  TreePtr top_;
};

// libyang alone does not survive the 56th of these.
TEST_F(ChildTable, ServesSixtyChangesThatFillItWithRemovedSlots) {
  const std::vector<std::string> values = {"a", "b", "c", "1", "2", "true"};
  const lysc_node* const user = child_of(top_->schema, "s1");
  const lysc_node* const system = child_of(top_->schema, "s2");
  const lysc_node* const leaf = child_of(top_->schema, "f3");
  std::minstd_rand random(197357);
  for (int i = 0; i < 60 && !HasFatalFailure(); ++i) {
    const std::uint64_t dice = random();
    if (dice % 8 == 0) {
      toggle(leaf, "1");
    } else {
      toggle(dice % 2 == 0 ? user : system,
             values[static_cast<std::size_t>(dice / 8 % values.size())]);
    }
  }
}

TEST_F(ChildTable, IsMadeAgainAfterItWasDropped) {
  const lysc_node* const user = child_of(top_->schema, "s1");
  for (int i = 0; i < 100; ++i) toggle(user, std::to_string(i));
  drop_child_table(top_.get());
  EXPECT_EQ(reinterpret_cast<lyd_node_inner*>(top_.get())->children_ht, nullptr);
  toggle(user, "100");
  EXPECT_NE(reinterpret_cast<lyd_node_inner*>(top_.get())->children_ht, nullptr);
  for (int i = 0; i <= 100; ++i) {
    lyd_node* found = nullptr;
    const std::string value = std::to_string(i);
    EXPECT_EQ(
        lyd_find_sibling_val(lyd_child(top_.get()), user, value.c_str(), value.size(), &found),
        LY_SUCCESS)
        << value;
  }
}

}  // namespace child_table_test
}  // namespace nexa::store
